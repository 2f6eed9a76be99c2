# What both byte orders of the board share: Debian's cross compiler, the libraries that
# scripts/sysroot put under build/sysroot, and an emulator that runs the tests here.
set(CMAKE_SYSTEM_NAME Linux)
set(board ${CMAKE_SYSTEM_PROCESSOR}-linux-gnu)
get_filename_component(sysroot ${CMAKE_CURRENT_LIST_DIR}/../../build/sysroot/${CMAKE_SYSTEM_PROCESSOR}
                       ABSOLUTE)
if(NOT EXISTS ${sysroot})
    message(FATAL_ERROR "${sysroot} is missing: scripts/sysroot ${CMAKE_SYSTEM_PROCESSOR} fills it")
endif()

set(CMAKE_C_COMPILER ${board}-gcc)
set(CMAKE_CXX_COMPILER ${board}-g++)
# It looks for the compiler's shared libraries under /usr/${board}; the sysroot's are found by the
# run path that the build writes into its programs.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-${CMAKE_SYSTEM_PROCESSOR}-static -L /usr/${board})
# Programs stand at a fixed address: code that can be moved looks every call up in a table, and takes
# a quarter more room. The procedure descriptors are for old debuggers, and strip leaves them.
set(CMAKE_CXX_FLAGS_INIT "-isystem ${sysroot}/usr/include/${board} -isystem ${sysroot}/usr/include \
-fno-pie -mplt -mno-shared -Wa,-mno-pdr")
set(CMAKE_EXE_LINKER_FLAGS_INIT -no-pie)
# The processor has no 64-bit atomics. The library that has them is linked last, and as an archive,
# so that the board needs no further one.
set(CMAKE_CXX_STANDARD_LIBRARIES_INIT "-l:libatomic.a")

set(CMAKE_LIBRARY_ARCHITECTURE ${board})
set(CMAKE_FIND_ROOT_PATH ${sysroot} /usr/${board})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${sysroot})
set(ENV{PKG_CONFIG_LIBDIR} ${sysroot}/usr/lib/${board}/pkgconfig:${sysroot}/usr/share/pkgconfig)
