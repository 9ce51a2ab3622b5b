# Loaded by OstrelSdkConfig.cmake: defines Ostrel::HostAdapters when the
# adapters were installed and what they link is found here as well: WinHTTP
# (a system library) on Windows, libcurl and SQLite elsewhere. Their absence
# leaves the SDK package usable without the adapters.
if(EXISTS "${CMAKE_CURRENT_LIST_DIR}/OstrelHostAdaptersTargets.cmake")
  find_package(Threads QUIET)
  if(WIN32)
    if(Threads_FOUND)
      include("${CMAKE_CURRENT_LIST_DIR}/OstrelHostAdaptersTargets.cmake")
    endif()
  else()
    find_package(CURL QUIET)
    find_package(SQLite3 QUIET)
    if(Threads_FOUND AND CURL_FOUND AND SQLite3_FOUND)
      include("${CMAKE_CURRENT_LIST_DIR}/OstrelHostAdaptersTargets.cmake")
    endif()
  endif()
endif()
