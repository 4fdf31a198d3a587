#pragma once

#include "API/Filters/Ica/Common/Ioca/Document/Envelope.h"
