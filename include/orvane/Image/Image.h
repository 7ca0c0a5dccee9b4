#pragma once

// Umbrella header of the Image folder.
