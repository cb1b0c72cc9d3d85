#include "tables/result_report.h"
