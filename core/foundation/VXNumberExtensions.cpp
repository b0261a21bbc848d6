#include "VXNumberExtensions.h"
