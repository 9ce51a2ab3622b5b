// Symbol visibility and calling convention of the six C exports.
#ifndef OSTREL_EXPORT_H_
#define OSTREL_EXPORT_H_

#if defined(_WIN32)
#if defined(OSTREL_BUILDING_LIBRARY)
#define OSTREL_EXPORT __declspec(dllexport)
#else
#define OSTREL_EXPORT __declspec(dllimport)
#endif
#else
#define OSTREL_EXPORT __attribute__((visibility("default")))
#endif

#endif  // OSTREL_EXPORT_H_
