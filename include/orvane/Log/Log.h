#pragma once

// Umbrella header of the Log folder.

#include "orvane/Log/OVLog.h"
