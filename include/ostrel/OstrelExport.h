// Symbol visibility of the six C exports.
#ifndef OSTREL_EXPORT_H_
#define OSTREL_EXPORT_H_

#if defined(_WIN32)
// Hosts need no dllimport: calls resolve through the import library's thunks.
// Leaving it out lets the same declarations serve the DLL's import library
// and a static build of the library's objects (its own tests).
#if defined(OSTREL_BUILDING_LIBRARY)
#define OSTREL_EXPORT __declspec(dllexport)
#else
#define OSTREL_EXPORT
#endif
#else
#define OSTREL_EXPORT __attribute__((visibility("default")))
#endif

#endif  // OSTREL_EXPORT_H_
