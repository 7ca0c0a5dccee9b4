#pragma once

// Umbrella header of the Storage folder.

#include "orvane/Storage/OVStorage.h"
#include "orvane/Storage/OVStorageChunk.h"
#include "orvane/Storage/OVStorageChunkTable.h"
#include "orvane/Storage/OVStorageManager.h"
