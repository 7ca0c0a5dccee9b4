#pragma once

// Umbrella header of the Math folder.
