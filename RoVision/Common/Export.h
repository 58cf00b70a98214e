// RO_API marks the exported interface of the RoVision library; everything else is hidden.
#ifndef ROVISION_COMMON_EXPORT_H
#define ROVISION_COMMON_EXPORT_H

#if defined(_WIN32)
#define RO_API __declspec(dllexport)
#else
#define RO_API __attribute__((visibility("default")))
#endif

#endif
