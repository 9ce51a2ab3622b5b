// Entry point of OstrelSdkWin.dll.
//
// Loading the DLL creates nothing: every part of the library is built lazily
// by the first export that needs it, so no work runs under the loader lock.
// Thread attach and detach notifications are switched off because this entry
// point has nothing to do for them, and a host with many short-lived threads
// should not enter the module for each one.
#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) DisableThreadLibraryCalls(module);
  return TRUE;
}
