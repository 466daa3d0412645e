// What a station finds of the one before, which was killed.
#include "station/journal.h"

#include "files/app_error.h"

namespace factory::station {
namespace {

namespace fs = std::filesystem;

record::Run run_of(const std::string& id) {
  record::Run out;
  out.id = id;
  out.serial = "A1";
  out.outcome = record::Outcome::passed;
  return out;
}

TEST(StationJournal, KnowsHowFarRunsCame) {
  const fs::path folder = fs::path(testing::TempDir()) / "journals/station-1";
  fs::remove_all(folder.parent_path());  // of a run that failed
  const std::string ids[] = {"0190a000-0000-7000-8000-000000000001", "0190a000-0000-7000-8000-000000000002",
                             "0190a000-0000-7000-8000-000000000003"};
  {
    const Journal journal(folder);
    EXPECT_THROW(Journal{folder}, AppError);
    for (const std::string& id : ids) journal.begin(run_of(id));
    for (const std::string& id : {ids[0], ids[1]}) {
      journal.ended(run_of(id));
      journal.begin(run_of(id));  // as if killed before its trace was gone
    }
    journal.told(ids[1]);
    journal.try_disk();
    std::ofstream(folder / ("ended-" + ids[0] + ".json.x7Yz1q")) << "{";
  }
  // Closed to the user, or none: told of, and nothing more. One whose station runs is not, and none without runs.
  const fs::path closed = folder.parent_path() / "station-2";
  fs::create_directories(folder.parent_path() / "station-4");
  std::ofstream(folder.parent_path() / "station-4/notes.txt") << "no run";
  std::ofstream(closed) << "no folder";
  const Journal other((folder.parent_path() / "station-3").string());
  other.begin(run_of(ids[0]));
  EXPECT_EQ(journals_left(other.folder()), (std::vector<std::string>{folder, closed}));

  const Journal journal(folder);
  EXPECT_EQ(journal.ended(), (std::vector<std::string>{ids[0], ids[2]}));
  EXPECT_EQ(journal.unstored(), std::vector<std::string>{ids[1]});
  ASSERT_EQ(journal.cut_off().size(), 1u);
  EXPECT_EQ(journal.cut_off()[0].id, ids[2]);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 4) << "the lock and three runs";
  fs::remove_all(folder.parent_path());
}

}  // namespace
}  // namespace factory::station
