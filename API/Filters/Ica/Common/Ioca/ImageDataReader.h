#pragma once

#include "API/Filters/Ica/Common/Ioca/Segment/ImageDataReader.h"
