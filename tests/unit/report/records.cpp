#include "records.h"

#include <json/json.h>

#include "files/json_text.h"
#include "folder.h"
#include "record/record_json.h"

namespace records {
namespace {

factory::record::Run recorded(const std::string& name) {
  return factory::record::read_run(test::content(TEST_DATA_DIR "/records/" + name + ".json"));
}

}  // namespace

factory::record::Run passed() { return recorded("passed"); }
factory::record::Run failed() { return recorded("failed"); }
factory::record::Run error() { return recorded("error"); }

factory::record::Run with_text_everywhere(const std::string& text) {
  std::string json = test::content(TEST_DATA_DIR "/records/hostile.json");
  const std::string place = "\"@\"";
  const std::string quoted = factory::json_line(Json::Value(text));
  for (size_t at = json.find(place); at != std::string::npos; at = json.find(place, at + quoted.size())) {
    json.replace(at, place.size(), quoted);
  }
  return factory::record::read_run(json);
}

std::string hostile_text() {
  return std::string(
             "</script><script>alert('x')</script>\"&<!-- ]]> \xE2\x80\xA8 \xE2\x80\xAE \xC3\xA4\xF0\x9F\x93\xB1 "
             "\xC0\xAF \xED\xA0\x80 \xEF\xBF\xBF \xFF\x01\x1B[31m\x7F,\r\n=1+1\t../../etc/passwd ") +
         std::string(1, '\0') + "end";
}

size_t occurrences(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

}  // namespace records
