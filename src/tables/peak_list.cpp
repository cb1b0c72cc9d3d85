#include "tables/peak_list.h"
