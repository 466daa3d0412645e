#include <gtest/gtest.h>

#include "records.h"
#include "report/report.h"

namespace {

using records::content;
using records::Folder;

TEST(JUnit, HostileTextIsStillXml) {
  Folder folder;
  const std::string xml = folder.file("run.xml");
  factory::write_junit(records::with_text_everywhere(records::hostile_text()), xml);
  std::ofstream(xml + ".py") << "import xml.etree.ElementTree as tree\ncase = tree.parse('" << xml
                             << "').findall('.//testcase')[1]"
                             << R"(
print(case.get('name').count('</script>'), '\n=1+1' in case.get('name'), '\x1b' in case.get('name'))
)";
  EXPECT_EQ(std::system(("python3 " + xml + ".py > " + xml + ".out 2>&1").c_str()), 0);
  EXPECT_EQ(content(xml + ".out"), "2 True False\n");
}

}  // namespace
