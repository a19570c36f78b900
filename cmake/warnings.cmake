# Warnings are errors in every preset.
add_library(em_warnings INTERFACE)
target_compile_options(em_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wformat=2 -Wnon-virtual-dtor -Woverloaded-virtual
  -Wold-style-cast -Wcast-qual -Wcast-align -Wnull-dereference -Wimplicit-fallthrough -Wundef -Werror
  $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond;-Wlogical-op;-Wsuggest-override>
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)
# With a sanitizer's instrumentation g++ sees null paths that are none.
if(EM_SANITIZE)
  target_compile_options(em_warnings INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-null-dereference;-Wno-maybe-uninitialized>)
endif()
