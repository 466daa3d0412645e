// Files that the build embeds (cmake/EmbedFiles.cmake): the page's, and the plan that a station has without settings.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace factory::assets {
extern const std::string_view reference_plan;
}

namespace factory::station {

struct Asset {
  std::string_view name;  // below assets/: "station.js", "texts/en.json"
  std::string_view bytes;
};

std::span<const Asset> page_assets();
const Asset* page_asset(std::string_view name);

// Those that have a table of texts, English first.
std::vector<std::string> page_languages();

}  // namespace factory::station
