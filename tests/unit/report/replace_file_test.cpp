#include "files/whole_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "files/app_error.h"
#include "folder.h"

namespace {

using test::content;
using test::Folder;

TEST(ReplaceFile, ReplacesWhatALinkPointsToAndLeavesNothingBeside) {
  Folder folder;
  std::ofstream(folder.file("old")) << "a longer text than the new one";
  std::filesystem::create_symlink("old", folder.file("link"));
  factory::replace_file(folder.file("link"), "new");
  EXPECT_EQ(content(folder.file("old")), "new");
  EXPECT_TRUE(std::filesystem::is_symlink(folder.file("link")));
  EXPECT_EQ(folder.entries(), 2);
  struct stat status {};
  ASSERT_EQ(stat(folder.file("old").c_str(), &status), 0);
  const mode_t mask = umask(0);
  umask(mask);
  EXPECT_EQ(status.st_mode & 0777, 0666 & ~mask);
  ASSERT_EQ(chmod(folder.file("old").c_str(), 0604), 0);
  factory::replace_file(folder.file("old"), "newer");
  ASSERT_EQ(stat(folder.file("old").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0604U);
}

TEST(ReplaceFile, WritesToWhatIsNoFile) {
  factory::replace_file("/dev/null", "text");
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST(ReplaceFile, AFailureNamesTheFileAndLeavesTheOldOne) {
  Folder folder;
  std::filesystem::create_directory(folder.file("folder"));
  for (const std::string& file : {folder.file("missing/file"), folder.file("folder"), std::string("/dev/full")}) {
    EXPECT_THAT([&] { factory::replace_file(file, "text"); },
                ::testing::ThrowsMessage<factory::AppError>(::testing::StartsWith(file + ": cannot be written: ")));
  }
  EXPECT_EQ(folder.entries(), 1);
}

}  // namespace
