# Warnings are errors in every preset. Optimised, g++ sees null paths inside the inline code of the libraries that the
# tools and tests are written with: a target with the property EM_TOOL goes without that one.
add_library(em_warnings INTERFACE)
target_compile_options(em_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wformat=2 -Wnon-virtual-dtor -Woverloaded-virtual
  -Wold-style-cast -Wcast-qual -Wcast-align $<$<NOT:$<BOOL:$<TARGET_PROPERTY:EM_TOOL>>>:-Wnull-dereference> -Wimplicit-fallthrough -Wundef -Werror
  $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond;-Wlogical-op;-Wsuggest-override>
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)
# With a sanitizer's instrumentation g++ sees null paths that are none.
if(EM_SANITIZE)
  target_compile_options(em_warnings INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-null-dereference;-Wno-maybe-uninitialized>)
endif()
