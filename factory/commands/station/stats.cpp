// `sensorcal stats`, `history` and `sync`: what the store holds, and what still waits for it.
#include <filesystem>
#include <iostream>
#include <memory>
#include <utility>

#include "cli/terminal.h"
#include "commands/station/commands.h"
#include "commands/station/stored_runs.h"
#include "files/json_text.h"
#include "files/whole_file.h"
#include "files/words.h"
#include "quality/comparison.h"
#include "quality/stats_view.h"
#include "record/exit_code.h"
#include "store/keeper.h"
#include "store/spool.h"

namespace factory {
namespace {

const std::vector<std::string> kBy(std::begin(store::kSubgroupNames), std::end(store::kSubgroupNames));

struct Arguments {
  std::string uri, spool, html, serial, run;
  ChosenRuns runs;
  std::vector<std::string> sides;  // to compare: none or two
  store::Choices choices;
  WatchArguments watch;
  std::string attempts = "last", rules = "ewma", by = "utc-day", shifts = "06:00,14:00,22:00", baseline;
  int limit = 0;
  bool full = false;
};

std::string question_of(const store::Filter& filter, const ChosenRuns& runs) {
  std::string out = "Runs";
  const std::pair<const char*, const std::string&> parts[] = {{" of plan ", filter.plan},
                                                              {" at station ", filter.station},
                                                              {" of profile ", filter.profile},
                                                              {" of lot ", filter.lot},
                                                              {" of plan version ", filter.plan_version},
                                                              {" by operator ", filter.operator_name},
                                                              {" that ended as ", runs.verdict},
                                                              {" by version ", filter.version},
                                                              {" from ", runs.since},
                                                              {" until ", runs.until}};
  for (const auto& [word, value] : parts) {
    if (!value.empty()) out += word + store::shown(value);
  }
  for (const store::MarkedPhones& marked : filter.marked)
    out += ", without " + marked.kind + " phones " + store::shown(marked.pattern);
  return out;
}

int stats(const CommonOptions& options, const Arguments& a) {
  store::Choices choices = a.choices;
  choices.attempts = a.attempts == "first"  ? store::Attempts::first
                     : a.attempts == "last" ? store::Attempts::last
                                            : store::Attempts::passing;
  for (size_t i = 0; i < std::size(store::kRulesNames); ++i) {
    if (a.rules == store::kRulesNames[i]) choices.rules = static_cast<store::Rules>(i);
  }
  const auto by = std::find(kBy.begin(), kBy.end(), a.by) - kBy.begin();
  choices.subgroups = store::Subgroups(static_cast<store::SubgroupBy>(by), store::parse_shifts(a.shifts));
  if (!a.baseline.empty()) choices.baseline_ms = store::parse_period("--baseline", a.baseline);
  store::Filter filter = a.runs.of(options.profile);
  std::string question = question_of(filter, a.runs);
  if (!a.html.empty()) require_output("--html", a.html, "<!DOCTYPE html>");
  if (a.watch.wanted) return guarded([&] { return watch_store(options, a.watch, a.uri, filter, choices); });
  return guarded([&] {
    const auto database = opened_store(a.uri);
    require_known(database.get(), &filter);
    const auto none_of_these = [&] { return " (none of these; the store has " + all_runs(database.get()) + ")"; };
    if (!a.sides.empty()) {
      const store::Comparison compared = compare(database.get(), filter, a.sides, choices);
      if (compared.contrasts.empty()) question += none_of_these();
      print_result(options.json, "stats-comparison/1", to_json(compared), to_text(compared, question));
      return static_cast<int>(kPassed);
    }
    const store::Statistics found = statistics(database.get(), filter, choices);
    const auto& [passed, failed, errors, aborted, marginal, retried] = found.runs;
    if (passed + failed + errors + aborted == 0) question += none_of_these();
    // The page first: that it cannot be written is not told below all figures.
    const bool page = a.html.empty() || record::delivered("--html ", [&] { write_page(found, question, a.html); });
    print_result(options.json, "stats/2", to_json(found), to_text(found, question));
    return static_cast<int>(record::exit_code(record::Outcome::passed, page));
  });
}

int history(const CommonOptions& options, const Arguments& a) {
  if (a.serial.empty() == a.run.empty()) throw AppError(kUsage, "wanted: a serial number, or --run and the run's id");
  return guarded([&] {
    const auto database = opened_store(a.uri);
    std::vector<store::StoredRun> found;
    if (a.run.empty()) {
      found = store::history(database.get(), a.serial, a.limit, a.full || options.json);
    } else if (auto run = store::stored_run(database.get(), a.run)) {
      found.push_back(std::move(*run));
    }
    if (found.empty())
      throw AppError(kUsage, "the store has no run " + (a.run.empty() ? "of serial number " + a.serial : a.run));
    if (options.json) {
      print_document("history/2", store::valid(to_json(found)));
    } else {
      for (const store::StoredRun& stored : found) std::cout << run_text(stored.run, a.full || !a.run.empty());
    }
    return kPassed;
  });
}

int sync(const CommonOptions& options, const Arguments& a) {
  constexpr double kPatienceSeconds = 60;
  return guarded([&] {
    const store::Uri uri = store::parse_uri(a.uri);
    if (!a.spool.empty() && !std::filesystem::exists(a.spool))
      throw AppError(kUsage, "--spool " + a.spool + ": there is no such file");
    if (!uri.postgresql) (void)opened_store(a.uri);  // a server may be away, a file is mistyped
    store::Spool spool(a.spool.empty() ? store::default_spool(uri) : store::parse_uri("sqlite:" + a.spool).place);
    const store::Brought brought = bring_up(&spool, uri, kPatienceSeconds);
    tell_problems(brought);
    print_result(
        options.json, "sync/1",
        json_object({{"stored", brought.stored}, {"were_there", brought.were_there}, {"waiting", brought.waiting}}),
        counted(brought.stored + brought.were_there, "run") + " brought up, " + std::to_string(brought.waiting) +
            " still waiting\n");
    return !brought.away.empty() ? kUnreachable : brought.waiting > 0 ? kFailed : kPassed;
  });
}

}  // namespace

StationRunner set_up_stats(ArgumentParser parser) {
  auto arguments = std::make_shared<Arguments>();
  add_store(parser, &arguments->uri);
  arguments->runs.add_options(parser);
  arguments->runs.add_measurement(parser);
  arguments->runs.add_marks(parser);
  parser.add_option("--attempts", arguments->attempts,
                    "whose values: of each step's first attempt, of its last one, or those of passing phones",
                    {.shows_default = true, .one_of = {"first", "last", "passing"}});
  parser.add_option("--outliers", arguments->choices.outlier_sigmas,
                    "robust sigmas from the median at which a value is an outlier",
                    {.shows_default = true, .low = 0, .above = true});
  parser.add_flag("--without-outliers", arguments->choices.without_outliers, "leaves them out of all other figures");
  parser.add_flag("--times", arguments->choices.times, "how long a phone takes, and what for, day by day");
  parser.add_option("--rules", arguments->rules, "when a control chart cries: a moving average, or the classic rules",
                    {.shows_default = true, .one_of = {std::begin(store::kRulesNames), std::end(store::kRulesNames)}});
  parser.add_option("--by", arguments->by,
                    "what a chart's points are the means of; all but utc-day and lot go by this machine's local time",
                    {.shows_default = true, .one_of = kBy});
  parser.add_option("--shifts", arguments->shifts, "with --by shift: when shifts begin", {.shows_default = true});
  parser.add_option(
      "--baseline", arguments->baseline,
      "FROM..UNTIL: centre and limits of charts are those of this time, also of runs that are not chosen");
  parser.add_option("--html", arguments->html, "writes the page with charts to a file");
  parser.add_option("--compare", arguments->sides,
                    "two sides, the second against the first: station=NAME, plan-version=, lot=, profile=, "
                    "app-version=, or FROM..UNTIL",
                    {.excludes = "--html", .values = 2});
  arguments->watch.add_options(parser);
  return [arguments](const CommonOptions& options) { return stats(options, *arguments); };
}

StationRunner set_up_history(ArgumentParser parser) {
  auto arguments = std::make_shared<Arguments>();
  parser.add_option("SERIAL", arguments->serial, "the phone's serial number");
  add_store(parser, &arguments->uri);
  parser.add_option("--run", arguments->run, "one run instead, by its id");
  parser.add_option("--limit", arguments->limit, "at most so many runs, the newest", {.excludes = "--run", .low = 0});
  parser.add_flag("--full", arguments->full, "every step and measurement");
  return [arguments](const CommonOptions& options) {
    arguments->serial = record::serial_number("SERIAL", arguments->serial);
    return history(options, *arguments);
  };
}

StationRunner set_up_sync(ArgumentParser parser) {
  auto arguments = std::make_shared<Arguments>();
  add_store(parser, &arguments->uri);
  parser.add_option("--spool", arguments->spool, "the file in which runs wait (default: in the user's state folder)");
  return [arguments](const CommonOptions& options) { return sync(options, *arguments); };
}

}  // namespace factory
