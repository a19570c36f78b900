// Calls into objects of the host by slot number. They are reached through their raw tables: no class of ours
// pretends to be the host's.
// Why: docs/decisions/raw-slots.md
#pragma once

#include <utility>

namespace em {

template <class Result, class... Arguments>
Result callSlot(void* object, unsigned slot, Arguments... arguments) {
    void** const table = *static_cast<void***>(object);
    return reinterpret_cast<Result (*)(void*, Arguments...)>(table[slot])(object, arguments...);
}

} // namespace em
