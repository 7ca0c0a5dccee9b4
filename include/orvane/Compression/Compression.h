#pragma once

// Umbrella header of the Compression folder.
