// The border under the name by which the frame's floor knows it.
#pragma once

#include "trace/border.h"
