#include "VXSorting.h"
