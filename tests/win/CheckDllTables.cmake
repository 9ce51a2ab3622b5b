cmake_minimum_required(VERSION 3.20)
# Fails unless `OBJDUMP -p LIBRARY` shows exactly the six C exports, and
# imports from Windows system DLLs only: a runtime DLL of the compiler
# (libstdc++, libgcc, libwinpthread) would have to ship beside the host.
execute_process(COMMAND ${OBJDUMP} -p ${LIBRARY}
                OUTPUT_VARIABLE _dump RESULT_VARIABLE _result)
if(NOT _result EQUAL 0)
  message(FATAL_ERROR "${OBJDUMP} failed on ${LIBRARY}")
endif()
string(REGEX MATCHALL "[^\n]+" _lines "${_dump}")

set(_imports)
set(_exports)
set(_in_names OFF)
foreach(_line IN LISTS _lines)
  if(_line MATCHES "^[ \t]*DLL Name: (.+)$")
    string(STRIP "${CMAKE_MATCH_1}" _dll)
    string(TOLOWER "${_dll}" _dll)
    list(APPEND _imports ${_dll})
  elseif(_line MATCHES "^\\[Ordinal/Name Pointer\\] Table")
    set(_in_names ON)
  elseif(_in_names AND _line MATCHES "^[ \t]*\\[ *[0-9]+\\] (.+)$")
    list(APPEND _exports ${CMAKE_MATCH_1})
  elseif(_in_names)
    set(_in_names OFF)
  endif()
endforeach()

list(SORT _exports)
set(_expected CreateIOConfig DestroyIOConfig DestroyIOstrelConfig GetIOstrelConfig
              freeOstrelConfigValue getOstrelConfig)
list(SORT _expected)
if(NOT "${_exports}" STREQUAL "${_expected}")
  message(FATAL_ERROR "exports differ:\n  got: ${_exports}\n  expected: ${_expected}")
endif()

set(_system kernel32.dll user32.dll advapi32.dll shlwapi.dll ntdll.dll msvcrt.dll
            ucrtbase.dll)
if(NOT _imports)
  message(FATAL_ERROR "no imports found in ${LIBRARY}")
endif()
foreach(_dll IN LISTS _imports)
  if(NOT _dll IN_LIST _system AND NOT _dll MATCHES "^api-ms-win-")
    message(FATAL_ERROR "imports a DLL that is not part of Windows: ${_dll}\n  all: ${_imports}")
  endif()
endforeach()
message(STATUS "exports: ${_exports}")
message(STATUS "imports: ${_imports}")
