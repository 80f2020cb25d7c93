# Whether the library sends crash and event reports. Sets SHAREDLIB_CRASH_SERVICE, the folder of sharedlib/platform/ whose
# crash service is taken; SHAREDLIB_CRASH_LIBRARY, what that is linked with; and what the installed packages say of it.
set(SHAREDLIB_CRASH_REPORTS AUTO CACHE STRING
  "Crash reports through the package sentry: AUTO takes it when it is there, ON needs it, OFF takes none")
set_property(CACHE SHAREDLIB_CRASH_REPORTS PROPERTY STRINGS AUTO ON OFF)

set(SHAREDLIB_CRASH_SERVICE none)
set(SHAREDLIB_CRASH_LIBRARY "")
set(SHAREDLIB_CRASH_DEPENDENCY "")
set(SHAREDLIB_CRASH_PC_LIBS "")
if(SHAREDLIB_CRASH_REPORTS STREQUAL "AUTO")
  find_package(sentry CONFIG QUIET)
elseif(SHAREDLIB_CRASH_REPORTS)
  find_package(sentry CONFIG REQUIRED)
  if(NOT TARGET sentry::sentry)
    message(FATAL_ERROR "The package sentry has no target sentry::sentry.")
  endif()
endif()
if(SHAREDLIB_CRASH_REPORTS AND TARGET sentry::sentry)
  set(SHAREDLIB_CRASH_SERVICE sentry)
  set(SHAREDLIB_CRASH_LIBRARY sentry::sentry)
  set(SHAREDLIB_CRASH_DEPENDENCY "find_dependency(sentry CONFIG)")
  set(SHAREDLIB_CRASH_PC_LIBS "-lsentry ")
  message(STATUS "Crash reports: in, through the package sentry ${sentry_VERSION}")
else()
  message(STATUS "Crash reports: not in (SHAREDLIB_CRASH_REPORTS is ${SHAREDLIB_CRASH_REPORTS})")
endif()

# Makes `name` the objects of the crash service in the folder `service`.
function(sharedlib_crash_objects name service)
  set(platform ${PROJECT_SOURCE_DIR}/sharedlib/platform)
  sharedlib_objects(${name} ${platform}/${service}/crash_service.cpp)
  # One function is called that newer versions of the service call deprecated; older ones have no other.
  set_source_files_properties(${platform}/sentry/crash_service.cpp PROPERTIES COMPILE_OPTIONS -Wno-deprecated-declarations)
endfunction()
