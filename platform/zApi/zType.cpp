#include "zType.h"

#define Z_DEFINE_TYPE(T) const zTypeInfo zTypeInfo_##T = {#T, sizeof(T)}
Z_DEFINE_TYPE(z8u);
Z_DEFINE_TYPE(z8s);
Z_DEFINE_TYPE(z16s);
Z_DEFINE_TYPE(z16u);
Z_DEFINE_TYPE(z32s);
Z_DEFINE_TYPE(z32u);
Z_DEFINE_TYPE(z64s);
Z_DEFINE_TYPE(z64u);
Z_DEFINE_TYPE(z32f);
Z_DEFINE_TYPE(z64f);
Z_DEFINE_TYPE(zSize);
Z_DEFINE_TYPE(zBool);
Z_DEFINE_TYPE(zPtr);
Z_DEFINE_TYPE(zPoint64f);
Z_DEFINE_TYPE(zPoint3d16s);
Z_DEFINE_TYPE(zPoint3d32s);
Z_DEFINE_TYPE(zPoint3d32f);
Z_DEFINE_TYPE(zPoint3d64f);
Z_DEFINE_TYPE(zRect64f);
Z_DEFINE_TYPE(zRect3d64f);
Z_DEFINE_TYPE(zPlane3d64f);
Z_DEFINE_TYPE(zRgb24);
Z_DEFINE_TYPE(zArgb);

zSize zType_Size(zType type) {
  return type ? type->size : 0;
}
const char* zType_Name(zType type) {
  return type ? type->name : "(null)";
}

const char* zStatus_Name(zStatus status) {
  switch (status) {
    case zOK:
      return "success";
    case zERROR_PARAMETER:
      return "invalid argument";
    case zERROR_MEMORY:
      return "out of memory";
    case zERROR_NOT_FOUND:
      return "not found";
    case zERROR_FORMAT:
      return "bad format";
    case zERROR_FILE:
      return "file error";
    case zERROR_END_OF_STREAM:
      return "end of stream";
    case zERROR_TYPE:
      return "wrong item type";
    case zERROR_STATE:
      return "wrong state";
    case zERROR_SINGULAR:
      return "singular matrix";
    case zERROR_ABORTED:
      return "aborted";
    default:
      return "unknown";
  }
}
