// Marks what our own tests, and our own libraries on top, call besides the library's interface.
#pragma once

// Visible in the library, and installed nowhere.
#define KZ_TESTED __attribute__((visibility("default")))
