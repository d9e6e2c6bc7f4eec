# What the cross builds for the gateway's processors share (scripts/cross.sh armhf|arm64 uses the
# toolchain file of each, which sets ZX_CROSS_TRIPLET, CMAKE_SYSTEM_PROCESSOR and ZX_CROSS_QEMU
# and includes this one): Debian's cross toolchain of the triplet, the target's -dev packages
# installed beside the host's (multiarch), and qemu-user for every program the build or ctest runs
# for the target.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_LIBRARY_ARCHITECTURE ${ZX_CROSS_TRIPLET})
set(CMAKE_C_COMPILER ${ZX_CROSS_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${ZX_CROSS_TRIPLET}-g++)
# The programs run on the target's runtime installed beside the host's (multiarch: the target's
# loader in /lib, libc6 and libstdc++6 of the target's architecture), not on the cross
# toolchain's copy in /usr/<triplet>: the -dev packages pull in the multiarch libc, and a loader of
# one build with a libc of another (qemu -L /usr/<triplet> finds the multiarch libc) crashes in the
# first pthread_create.
set(CMAKE_CROSSCOMPILING_EMULATOR ${ZX_CROSS_QEMU})
# GCC notes that the passing of some standard-library arguments changed in GCC 7.1 (and 9 on
# AArch64); everything here is built by one compiler.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
# pkg-config answers for the target's packages only.
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/${ZX_CROSS_TRIPLET}/pkgconfig:/usr/share/pkgconfig)
set(ENV{PKG_CONFIG_PATH} "")
