# Compile flags shared by every target.
#
# Results must be the same bytes on every target: no fast-math, no
# contraction of a*b+c into fused multiply-adds, and SSE2 scalar floating
# point on 32-bit x86 (never the x87 stack with its 80-bit intermediates).
set(TOVREL_IS_X86 OFF)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64|i[3-6]86|x86)$")
  set(TOVREL_IS_X86 ON)
endif()

add_library(tovrel_flags INTERFACE)
target_compile_options(tovrel_flags INTERFACE
  -ffp-contract=off -fno-fast-math -fno-strict-aliasing
  -Wall -Wextra -Wno-psabi)
if(TOVREL_IS_X86)
  target_compile_options(tovrel_flags INTERFACE -msse2 -mfpmath=sse)
endif()
if(WIN32)
  # Reports and the test threads need no DLLs beside the library.
  target_link_options(tovrel_flags INTERFACE -static-libgcc $<$<LINK_LANGUAGE:CXX>:-static-libstdc++>)
endif()
if(TOVREL_SANITIZE)
  target_compile_options(tovrel_flags INTERFACE -fsanitize=${TOVREL_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(tovrel_flags INTERFACE -fsanitize=${TOVREL_SANITIZE})
endif()
