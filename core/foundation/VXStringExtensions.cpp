#include "VXStringExtensions.h"
