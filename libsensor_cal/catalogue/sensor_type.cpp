#include <SensorType.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

int getSensorType(char const* name) {
  for (const sensor_type::TagRow& row : sensor_type::kTags) {
    if (strcmp(name, row.tag) == 0) return row.type;
  }
  return name[0] >= '0' && name[0] <= '9' ? atoi(name) : -1;
}

char const* getSensorName(int type) {
  for (const sensor_type::TagRow& row : sensor_type::kTags) {
    if (row.type == type) return row.tag;
  }
  static char decimal[64];  // shared by all callers, deliberately without a lock
  snprintf(decimal, sizeof decimal, "%d", type);
  return decimal;
}
