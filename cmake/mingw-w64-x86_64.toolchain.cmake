# Cross-compiles for 64-bit Windows with Debian's mingw-w64 (POSIX threads flavour) and runs the
# results under Wine. Usable by clients of the installed SDK as well as by the library's own build.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

# glm is header-only and identical on both platforms, but its Debian package config points at
# /usr/include, which must never reach the cross compiler (it would shadow the mingw C headers).
# Stage a private prefix holding only glm and let find_package search it.
set(_tarn_deps "${CMAKE_BINARY_DIR}/mingw-deps")
if(EXISTS /usr/include/glm AND NOT EXISTS "${_tarn_deps}/include/glm")
    file(MAKE_DIRECTORY "${_tarn_deps}/include" "${_tarn_deps}/share/cmake")
    file(CREATE_LINK /usr/include/glm "${_tarn_deps}/include/glm" SYMBOLIC)
    file(COPY /usr/share/cmake/glm DESTINATION "${_tarn_deps}/share/cmake")
endif()

set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32 "${_tarn_deps}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The C++ runtime and winpthread are linked statically so that the DLL and the programs run
# under Wine (or on a clean Windows) without extra DLLs beside them.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static")

find_program(TARN_WINE NAMES wine64 wine PATHS /usr/lib/wine /usr/bin NO_CMAKE_FIND_ROOT_PATH)
if(TARN_WINE)
    set(CMAKE_CROSSCOMPILING_EMULATOR
        env "WINEPREFIX=${CMAKE_BINARY_DIR}/wineprefix" WINEDEBUG=-all "WINEDLLOVERRIDES=mscoree,mshtml="
        "${TARN_WINE}")
endif()
