#pragma once

// Marks a declaration as part of the library's public interface. Everything
// else in liborvane.so is hidden.
#define ORVANE_EXPORT __attribute__((visibility("default")))
