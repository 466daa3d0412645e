#define LOG_TAG "libsensor_cal"
#include "catalogue/product.h"

#include <cutils/properties.h>
#include <string.h>

#include "base/log.h"

bool is_your_product(char const* name) {
  char product[PROPERTY_VALUE_MAX];
  property_get("ro.build.product", product, "");
  LOGE("hwversion=%s\n", product);
  if (strcmp(product, name) != 0) return false;
  LOGE("product_name is %s\n", product);
  return true;
}
