#include "zArray2.h"

#include "zBufferImpl.h"

using zapi::AsBuffer;
using zapi::Buffer;

const zClassInfo zClassInfo_zArray2 = {"zArray2", &zapi::DeleteObject<Buffer>};

namespace {
Buffer* Get(zArray2 array) {
  return AsBuffer(array, &zClassInfo_zArray2);
}
}  // namespace

zStatus zArray2_Construct(zArray2* array, zType type, zSize rows, zSize columns, zAlloc alloc) {
  return zapi::BufferConstruct(&zClassInfo_zArray2, type, rows, columns, 0, alloc, array);
}

zStatus zArray2_ConstructUninitialized(zArray2* array, zType type, zSize rows, zSize columns,
                                       zAlloc alloc) {
  return zapi::BufferConstruct(&zClassInfo_zArray2, type, rows, columns, 0, alloc, array, false);
}

zStatus zArray2_Clone(zArray2 src, zAlloc alloc, zArray2* array) {
  if (!src) return zERROR_PARAMETER;
  return zapi::BufferClone(&zClassInfo_zArray2, Get(src), alloc, array);
}

zType zArray2_ItemType(zArray2 array) {
  return array ? Get(array)->type : nullptr;
}

zSize zArray2_Length(zArray2 array, zSize dimension) {
  if (!array) return 0;
  if (dimension == 0) return Get(array)->rows;
  if (dimension == 1) return Get(array)->cols;
  return 0;
}

zSize zArray2_Rows(zArray2 array) {
  return array ? Get(array)->rows : 0;
}
zSize zArray2_Columns(zArray2 array) {
  return array ? Get(array)->cols : 0;
}
void* zArray2_Data(zArray2 array) {
  return array ? Get(array)->data : nullptr;
}

void* zArray2_Row(zArray2 array, zSize row) {
  Buffer* buffer = Get(array);
  assert(row < buffer->rows);
  return buffer->Bytes() + row * buffer->RowBytes();
}

void* zArray2_At(zArray2 array, zSize row, zSize column) {
  Buffer* buffer = Get(array);
  assert(row < buffer->rows && column < buffer->cols);
  return buffer->Bytes() + (row * buffer->cols + column) * buffer->ItemSize();
}

zStatus zArray2_Zero(zArray2 array) {
  return array ? zapi::BufferZero(Get(array)) : zERROR_PARAMETER;
}

zStatus zArray2_Copy(zArray2 dst, zArray2 src) {
  if (!dst || !src) return zERROR_PARAMETER;
  return zapi::BufferCopy(Get(dst), Get(src));
}

zStatus zArray2_Allocate(zArray2 array, zType type, zSize rows, zSize columns) {
  if (!array) return zERROR_PARAMETER;
  return zapi::BufferAllocate(Get(array), type, rows, columns);
}
