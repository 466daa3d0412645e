#include "phone/chronicle.h"

namespace factory {

Chronicle& Chronicle::live() {
  static Chronicle chronicle;
  return chronicle;
}

}  // namespace factory
