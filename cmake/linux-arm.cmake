# 32-bit ARM Linux with Debian's cross compiler and a sysroot of Debian's armhf packages; scripts/test-arm makes one.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)

set(APPCONFIG_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../build/sysroot-arm" CACHE PATH "Unpacked armhf packages")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES APPCONFIG_SYSROOT)
cmake_path(ABSOLUTE_PATH APPCONFIG_SYSROOT NORMALIZE OUTPUT_VARIABLE sysroot)
if(NOT EXISTS "${sysroot}/usr/include")
  message(FATAL_ERROR "There is no sysroot in '${sysroot}'; 'scripts/test-arm --sysroot' makes it.")
endif()
set(CMAKE_SYSROOT "${sysroot}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Programs start one another in the tests, which an emulator given to ctest alone would not reach. So each program is
# linked as <name>.elf, and <name> is a script that runs it; the compiler checks need the plain file.
get_property(checking GLOBAL PROPERTY IN_TRY_COMPILE)
find_program(APPCONFIG_QEMU_ARM NAMES qemu-arm qemu-arm-static)
if(APPCONFIG_QEMU_ARM AND NOT checking)
  foreach(language C CXX)
    string(CONCAT CMAKE_${language}_LINK_EXECUTABLE
           "<CMAKE_${language}_COMPILER> <FLAGS> <CMAKE_${language}_LINK_FLAGS> <LINK_FLAGS> <OBJECTS> -o <TARGET>.elf "
           "<LINK_LIBRARIES>;sh ${CMAKE_CURRENT_LIST_DIR}/emulated ${APPCONFIG_QEMU_ARM} ${sysroot} <TARGET>")
  endforeach()
endif()
