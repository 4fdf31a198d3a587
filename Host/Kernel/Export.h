// Marks what a library exports; everything else is compiled hidden.
#pragma once

#define K_EXPORT __attribute__((visibility("default")))
