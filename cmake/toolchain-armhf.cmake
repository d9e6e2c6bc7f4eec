# Cross build for 32-bit ARM with hardware floating point (arm-linux-gnueabihf), the gateway's own
# processor; scripts/cross.sh armhf uses it:
#   cmake -S . -B build-armhf -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-armhf.cmake
set(ZX_CROSS_TRIPLET arm-linux-gnueabihf)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(ZX_CROSS_QEMU /usr/bin/qemu-arm)
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-cross.cmake)
