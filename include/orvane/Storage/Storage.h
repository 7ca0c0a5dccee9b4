#pragma once

// Umbrella header of the Storage folder.
