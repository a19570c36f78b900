# The XML parser, from its archive and never as a shared library: the module's copy must not meet another version in
# the host's process. The module's link hides its symbols.
find_path(EM_PUGIXML_INCLUDE pugixml.hpp REQUIRED)
find_library(EM_PUGIXML_ARCHIVE libpugixml.a REQUIRED)
add_library(em_pugixml INTERFACE)
target_include_directories(em_pugixml SYSTEM INTERFACE ${EM_PUGIXML_INCLUDE})
target_link_libraries(em_pugixml INTERFACE ${EM_PUGIXML_ARCHIVE})
