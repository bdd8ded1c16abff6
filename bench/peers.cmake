# Peer libraries of the benchmarks, all from Debian (tools/setup.sh):
# OpenCV (libopencv-dev), pixman (libpixman-1-dev), libyuv (libyuv-dev),
# libswscale (libswscale-dev).
# Per executable: TOVREL_BENCH_PEER_LIBS_<name> and
# TOVREL_BENCH_PEER_INCLUDES_<name>.
find_package(OpenCV REQUIRED COMPONENTS core imgproc)
find_package(PkgConfig REQUIRED)
pkg_check_modules(TOVREL_PIXMAN REQUIRED IMPORTED_TARGET pixman-1)
pkg_check_modules(TOVREL_SWSCALE REQUIRED IMPORTED_TARGET libswscale libavutil)

# libyuv ships no pkg-config or CMake package on Debian.
find_path(TOVREL_LIBYUV_INCLUDE libyuv/scale_argb.h REQUIRED)
find_library(TOVREL_LIBYUV_LIB yuv REQUIRED)

set(TOVREL_BENCH_PEER_LIBS_bench_warp opencv_core opencv_imgproc PkgConfig::TOVREL_PIXMAN)
set(TOVREL_BENCH_PEER_INCLUDES_bench_warp ${OpenCV_INCLUDE_DIRS})

set(TOVREL_BENCH_PEER_LIBS_bench_rect opencv_core opencv_imgproc ${TOVREL_LIBYUV_LIB}
    PkgConfig::TOVREL_SWSCALE)
set(TOVREL_BENCH_PEER_INCLUDES_bench_rect ${OpenCV_INCLUDE_DIRS} ${TOVREL_LIBYUV_INCLUDE})

# bench_exact_ratio's swscale entries are compiled only with
# TOVREL_BENCH_HAVE_SWSCALE (the rest of it needs no peer).
set(TOVREL_BENCH_PEER_LIBS_bench_exact_ratio PkgConfig::TOVREL_SWSCALE)
set(TOVREL_BENCH_PEER_DEFINES_bench_exact_ratio TOVREL_BENCH_HAVE_SWSCALE)
