# Cross-compiling for Windows with Debian's MinGW-w64. HQ_WINDOWS_LIBRARIES names the prefixes to find libraries in;
# nothing of the building system's own is found but programs.
set(CMAKE_SYSTEM_NAME Windows)
# The posix variant, because the win32 one has no std::thread.
set(CMAKE_C_COMPILER ${CMAKE_SYSTEM_PROCESSOR}-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER ${CMAKE_SYSTEM_PROCESSOR}-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER ${CMAKE_SYSTEM_PROCESSOR}-w64-mingw32-windres)

list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES HQ_WINDOWS_LIBRARIES)
set(CMAKE_FIND_ROOT_PATH ${HQ_WINDOWS_LIBRARIES} /usr/${CMAKE_SYSTEM_PROCESSOR}-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
