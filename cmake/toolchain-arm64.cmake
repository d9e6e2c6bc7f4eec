# Cross build for 64-bit ARM (aarch64-linux-gnu); scripts/cross.sh arm64 uses it:
#   cmake -S . -B build-arm64 -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-arm64.cmake
set(ZX_CROSS_TRIPLET aarch64-linux-gnu)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(ZX_CROSS_QEMU /usr/bin/qemu-aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-cross.cmake)
