# Cross build for 32-bit ARM (arm-linux-gnueabihf) with Debian's cross toolchain and the armhf
# -dev packages installed beside the host's (multiarch); scripts/cross.sh armhf uses it:
#   cmake -S . -B build-armhf -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-armhf.cmake
# Programs the build or ctest runs for the target go through qemu-arm.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
# The programs run on the armhf runtime installed beside the host's (multiarch: the loader
# /lib/ld-linux-armhf.so.3, libc6:armhf, libstdc++6:armhf), not on the cross toolchain's copy in
# /usr/arm-linux-gnueabihf: the -dev packages pull in libc6:armhf, and a loader of one build with
# a libc of another (qemu-arm -L /usr/arm-linux-gnueabihf finds the multiarch libc) crashes in
# the first pthread_create.
set(CMAKE_CROSSCOMPILING_EMULATOR /usr/bin/qemu-arm)
# GCC notes that the passing of some standard-library arguments changed in GCC 7.1; everything
# here is built by one compiler.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
# pkg-config answers for the armhf packages only.
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/arm-linux-gnueabihf/pkgconfig:/usr/share/pkgconfig)
set(ENV{PKG_CONFIG_PATH} "")
