#pragma once

#include "API/Filters/Ica/Common/Ioca/Document/Navigation.h"
