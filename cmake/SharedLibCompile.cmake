# How every target of this project is compiled: language, warnings, sanitizers.
include(GNUInstallDirs)

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -g1 -DNDEBUG")
set(CMAKE_CXX_FLAGS_DEBUG "-O1 -g")
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
if(NOT CMAKE_BUILD_TYPE AND PROJECT_IS_TOP_LEVEL)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Kind of build" FORCE)
endif()

find_program(SHAREDLIB_CCACHE ccache)
mark_as_advanced(SHAREDLIB_CCACHE)
if(SHAREDLIB_CCACHE AND PROJECT_IS_TOP_LEVEL)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${SHAREDLIB_CCACHE})
endif()

add_library(sharedlib_compile INTERFACE)
target_compile_options(sharedlib_compile INTERFACE -Wall -Wextra -Wconversion -Wshadow -Werror)
if(SHAREDLIB_SANITIZE)
  target_compile_options(sharedlib_compile INTERFACE
    -fsanitize=${SHAREDLIB_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(sharedlib_compile INTERFACE -fsanitize=${SHAREDLIB_SANITIZE})
endif()
