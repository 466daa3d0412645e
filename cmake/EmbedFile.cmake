# Run by embed_files(): writes SOURCE with the bytes of FILE under NAME.
file(READ ${FILE} bytes HEX)
string(REGEX REPLACE "(..)" "\\\\x\\1" bytes "${bytes}")
file(WRITE ${SOURCE} "#include <string_view>

namespace factory::assets {
extern const std::string_view ${NAME};
static constexpr char kBytes[] = \"${bytes}\";
constinit const std::string_view ${NAME}{kBytes, sizeof kBytes - 1};
}  // namespace factory::assets
")
