# Loaded by OstrelSdkConfig.cmake: defines Ostrel::HostAdapters when the
# adapters were installed and libcurl and SQLite are found here as well.
# Their absence leaves the SDK package usable without the adapters.
if(EXISTS "${CMAKE_CURRENT_LIST_DIR}/OstrelHostAdaptersTargets.cmake")
  find_package(Threads QUIET)
  find_package(CURL QUIET)
  find_package(SQLite3 QUIET)
  if(Threads_FOUND AND CURL_FOUND AND SQLite3_FOUND)
    include("${CMAKE_CURRENT_LIST_DIR}/OstrelHostAdaptersTargets.cmake")
  endif()
endif()
