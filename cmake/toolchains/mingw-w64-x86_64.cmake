# Cross-compiles the 64-bit Windows build with Debian's mingw-w64 in its posix
# thread model, which std::thread and std::mutex need.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(_mingw_triple x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${_mingw_triple}-gcc-posix)
set(CMAKE_CXX_COMPILER ${_mingw_triple}-g++-posix)
set(CMAKE_RC_COMPILER ${_mingw_triple}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${_mingw_triple})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Executables carry their runtimes, so that wine (or a bare Windows machine)
# runs them without the compiler's DLLs beside them.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")

# ctest runs the cross-built tests through wine. Debian installs the 64-bit
# loader outside PATH unless the wine package adds its wrapper.
find_program(OSTREL_WINE NAMES wine64 wine PATHS /usr/lib/wine NO_CMAKE_FIND_ROOT_PATH)
if(OSTREL_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${OSTREL_WINE})
endif()
