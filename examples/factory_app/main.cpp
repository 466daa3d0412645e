// The example's start on a phone.
#include <unistd.h>

#include <cstdio>

#include "factory_app.h"

int main() {
  // The library reaches the panel by a path relative to "/".
  if (chdir("/") != 0) {
    std::perror("/");
    return 3;
  }
  return factory_app();
}
