// Status codes shared by the host and its filters: 1 is success, failures are
// negative.
#pragma once

constexpr int K_SUCCESS = 1;
constexpr int K_END_OF_DOCUMENT = 2;   // End Document met before the page asked for
constexpr int K_MORE_ROWS = 105;       // row taken, more rows are wanted
constexpr int K_ERROR_NO_MEMORY = -1;  // also the failure of byte-count readers and writers
constexpr int K_ERROR_SEEK = -4;
constexpr int K_ERROR_WRITE = -5;
constexpr int K_ERROR_READ = -7;  // short file, end of file, read failure
constexpr int K_ERROR_NO_FILE_NAME = -8;
constexpr int K_ERROR_INVALID_FORMAT = -9;
constexpr int K_ERROR_OPEN_READ = -10;
constexpr int K_ERROR_NO_BUFFER = -13;
constexpr int K_ERROR_OPEN_WRITE = -14;  // also: the memory loader failed
constexpr int K_ERROR_SAVE_FORMAT = -16;
constexpr int K_ERROR_BITS_PER_PIXEL = -27;
constexpr int K_ERROR_G4_DATA = -62;      // left in nLoadError by the fax decoder
constexpr int K_ERROR_G4_DATA_2 = -1753;  // the same, from other fax libraries
constexpr int K_ERROR_NO_ABIC_ENCODER = -822;
constexpr int K_ERROR_NO_ABIC_DECODER = -823;
