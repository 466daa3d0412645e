#include <gtest/gtest.h>

#include "records.h"
#include "report/report.h"

namespace {

using records::content;
using records::Folder;

// Runs the Python lines over the XML file; `root` is its first element.
std::string read_with_python(const std::string& xml, const std::string& lines) {
  const std::string script = xml + ".py";
  std::ofstream(script) << "import xml.etree.ElementTree as tree\nroot = tree.parse('" << xml << "').getroot()\n"
                        << lines;
  EXPECT_EQ(std::system(("python3 " + script + " > " + xml + ".out 2>&1").c_str()), 0) << content(xml + ".out");
  return content(xml + ".out");
}

TEST(JUnit, OneCaseAStepWithReasonsAndAttempts) {
  Folder folder;
  factory::write_junit(records::failed(), folder.file("run.xml"));
  const std::string read = read_with_python(folder.file("run.xml"), R"(
suite = root.find('testsuite')
print([suite.get(name) for name in ('name', 'tests', 'failures', 'errors', 'skipped', 'time', 'timestamp')])
for case in suite.iter('testcase'):
    what = [child.tag + ':' + child.get('message') for child in case if child.tag != 'system-out']
    print(case.get('classname'), '|', case.get('name'), '|', case.get('time'), '|', *what)
print(suite.find("properties/property[@name='phone.properties.ro.product.model']").get('value'))
print(suite.findall('testcase')[1].find('system-out').text.count('attempt '))
print(suite.findall('testcase')[3].find('failure').text, end='')
)");
  EXPECT_EQ(
      read,
      "['Reference plan', '6', '4', '0', '1', '42.725', '2026-03-02T08:15:00']\n"
      "Reference plan | 1 Lay the phone flat | 0.020 |\n"
      "Reference plan.at rest | 2 Accelerometer offset | 10.000 | failure:Acc x: noise 0.48 +/- 0.016 m/s^2, limit "
      "0.05 m/s^2\n"
      "Reference plan.at rest | 3 Gyroscope offset | 5.000 | failure:Gyr x: all samples were equal (variance 0); "
      "the run restarted twice\n"
      "Reference plan.at rest | 4 Barometer offset | 5.000 | failure:Bar: no event came from the sensor until the "
      "time was over\n"
      "Reference plan.at rest | 5 Light scale | 2.100 | failure:Light: scale 0.943, at most 0.9\n"
      "Reference plan.at rest | 6 Proximity thresholds | 0.000 | skipped:skipped\n"
      "Reference One\n"
      "2\n"
      "Bar: no event came from the sensor until the time was over\n"
      "try: the sensor is silent: look at its connection and its driver\n");
}

TEST(JUnit, HostileTextIsStillXml) {
  Folder folder;
  factory::write_junit(records::with_text_everywhere(records::hostile_text()), folder.file("run.xml"));
  const std::string read = read_with_python(folder.file("run.xml"), R"(
case = root.findall('testsuite/testcase')[1]
print(case.get('name').count('</script>'), '\n=1+1' in case.get('name'), '\x1b' in case.get('name'))
)");
  EXPECT_EQ(read, "2 True False\n");
}

TEST(JUnit, AnErrorIsNoFailure) {
  Folder folder;
  factory::write_junit(records::error(), folder.file("run.xml"));
  EXPECT_EQ(read_with_python(folder.file("run.xml"), R"(
suite = root.find('testsuite')
print([suite.get(name) for name in ('tests', 'failures', 'errors', 'skipped')])
print([(e.get('type'), e.get('message')) for e in suite.iter('error')], len(list(suite.iter('failure'))))
)"),
            "['3', '0', '1', '1']\n"
            "[('error', \"the sensor hub's service did not answer, so that the result does not count\")] 0\n");
}

}  // namespace
