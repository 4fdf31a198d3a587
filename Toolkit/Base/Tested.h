// Marks what our own tests call besides the library's interface.
#pragma once

// Visible in the library, and installed nowhere.
#define KZ_TESTED __attribute__((visibility("default")))
