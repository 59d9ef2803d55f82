# Compiles for 64-bit Windows with Debian's cross compiler, against the libraries of
# windows/build-dependencies: -DZENDRO_SYSROOT=<folder> or the environment variable of that name.
# Everything is linked into the program: it imports what belongs to Windows and nothing else.
if(NOT ZENDRO_SYSROOT)
  set(ZENDRO_SYSROOT "$ENV{ZENDRO_SYSROOT}")
endif()
if(NOT IS_DIRECTORY "${ZENDRO_SYSROOT}")
  message(FATAL_ERROR "ZENDRO_SYSROOT is not set; windows/build-dependencies prints the folder.")
endif()
set(ZENDRO_SYSROOT "${ZENDRO_SYSROOT}" CACHE PATH "Libraries for Windows")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZENDRO_SYSROOT)

set(target x86_64-w64-mingw32)
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER ${target}-gcc-posix)
set(CMAKE_CXX_COMPILER ${target}-g++-posix)
set(CMAKE_RC_COMPILER ${target}-windres)

set(CMAKE_FIND_ROOT_PATH "${ZENDRO_SYSROOT}" /usr/${target})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES "${ZENDRO_SYSROOT}/include")
set(ENV{PKG_CONFIG_LIBDIR} "${ZENDRO_SYSROOT}/lib/pkgconfig")
set(PKG_CONFIG_ARGN --static)
set(OPENSSL_USE_STATIC_LIBS ON)

# Windows 10 is the oldest that is supported.
set(windows_version "-D_WIN32_WINNT=0x0A00 -DWINVER=0x0A00")
set(CMAKE_C_FLAGS_INIT "${windows_version} -ffunction-sections -fdata-sections")
set(CMAKE_CXX_FLAGS_INIT "${windows_version} -ffunction-sections -fdata-sections")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -s -Wl,--gc-sections")
