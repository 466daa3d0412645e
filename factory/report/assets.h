// Files that the build embeds (cmake/EmbedFiles.cmake).
#pragma once

#include <string_view>

namespace factory::assets {

extern const std::string_view report_css;
extern const std::string_view report_js;
extern const std::string_view chart_js;

}  // namespace factory::assets
