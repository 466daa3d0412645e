#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "files/app_error.h"
#include "records.h"
#include "report/file_name.h"
#include "report/report.h"

namespace {

using records::content;
using records::Folder;
using ::testing::HasSubstr;

TEST(Csv, HostileNamesStayInTheirCellsAndTheirFolder) {
  Folder folder;
  factory::write_csv(records::with_text_everywhere("../a\"b,\r\nc"), folder.file("out"));
  EXPECT_EQ(folder.entries(), 1);
  const std::string cell = "\"../a\"\"b,\r\nc\"";
  const std::string samples = content(folder.file("out/02-a-b-c-attempt-2.csv"));
  EXPECT_EQ(samples.find(",event,state,\"../a\"\"b,\r\nc [../a\"\"b,\r\nc]\",\"y ["), 52U) << samples.substr(0, 200);
  EXPECT_THAT(content(folder.file("out/measurements.csv")), HasSubstr("\r\n," + cell + "," + cell));
}

TEST(Csv, NoTextIsAFormula) {
  Folder folder;
  factory::record::Run run = records::passed();
  const std::pair<const char*, const char*> kRows[] = {
      {"=1+1", "'=1+1"}, {"@SUM(A1)", "'@SUM(A1)"}, {"-5", "-5"}, {"-5+cmd", "'-5+cmd"}, {"+", "'+"},
      {"A=1", "A=1"},    {"A\rB", "\"A\rB\""}};
  for (const auto& [serial, cell] : kRows) {
    run.serial = serial;
    factory::write_csv(run, folder.file(serial));
    EXPECT_THAT(content(folder.file(std::string(serial) + "/measurements.csv")),
                HasSubstr(std::string("\r\n,") + cell + ","));
  }
}

// Names made from a run lead nowhere else, and two serial numbers never to one file.
TEST(FileName, OfARun) {
  factory::record::Run run = records::passed();
  const std::pair<const char*, const char*> kRows[] = {
      {"A-1_b+2.c", "A-1_b+2.c"}, {"../x", "%2E.%2Fx"},  {"A/B", "A%2FB"},
      {"A%2FB", "A%252FB"},       {"", "none"},          {"..", "%2E."},
      {"a b\n", "a%20b%0A"},      {"\xc3\xa4", "%C3%A4"}};
  for (const auto& [serial, name] : kRows) {
    run.serial = serial;
    EXPECT_EQ(factory::file_name("{serial}", run), name);
  }
  run.serial = "{plan}";
  EXPECT_EQ(factory::file_name("out/{serial} {started} {verdict}.html", run),
            "out/%7Bplan%7D 20260302T081500.120Z passed.html");
  EXPECT_EQ(factory::file_name("a{b", run), "a{b");
}

TEST(Csv, FolderWithARunIsRefused) {
  Folder folder;
  factory::write_csv(records::passed(), folder.file("out"));
  const std::string before = content(folder.file("out/measurements.csv"));
  EXPECT_THROW(factory::write_csv(records::failed(), folder.file("out")), factory::AppError);
  EXPECT_EQ(content(folder.file("out/measurements.csv")), before);
}

TEST(Csv, FolderThatCannotBeMadeIsNamed) {
  EXPECT_THAT([] { factory::write_csv(records::passed(), "/dev/null/out"); },
              ::testing::AllOf(
                  ::testing::ThrowsMessage<factory::AppError>(HasSubstr("/dev/null/out: ")),
                  ::testing::Throws<factory::AppError>(::testing::Field(&factory::AppError::code, factory::kUsage))));
}

}  // namespace
