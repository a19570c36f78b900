// The product's annotated mutex under the host's name.
#pragma once

#include "base/mutex.h"

namespace volad_dev {

using em::Mutex;
using em::MutexLock;

} // namespace volad_dev
