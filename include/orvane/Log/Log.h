#pragma once

// Umbrella header of the Log folder.
