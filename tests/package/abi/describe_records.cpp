#include "describe_records.c"
