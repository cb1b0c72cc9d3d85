#include "tables/transducer_import.h"
