#include "frame/module_properties.h"

namespace em {

unsigned GetModuleProperty(const char* /*module*/, uint32_t& /*value*/, const char* /*property*/) {
    return 0;
}

} // namespace em
