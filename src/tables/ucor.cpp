#include "tables/ucor.h"
