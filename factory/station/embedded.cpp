#include "station/embedded.h"

#include <algorithm>

namespace factory::station {

const Asset* page_asset(std::string_view name) {
  const auto all = page_assets();
  const auto found = std::find_if(all.begin(), all.end(), [&](const Asset& asset) { return asset.name == name; });
  return found == all.end() ? nullptr : &*found;
}

std::vector<std::string> page_languages() {
  std::vector<std::string> out = {"en"};
  for (const Asset& asset : page_assets()) {
    if (!asset.name.starts_with("texts/") || !asset.name.ends_with(".json")) continue;
    const std::string language(asset.name.substr(6, asset.name.size() - 11));
    if (language != "en") out.push_back(language);
  }
  return out;
}

}  // namespace factory::station
