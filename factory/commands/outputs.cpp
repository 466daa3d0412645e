#include "commands/outputs.h"

#include <filesystem>
#include <functional>
#include <iostream>

#include "files/app_error.h"

namespace factory {

void add_outputs(ArgumentParser parser, RunOutputs* outputs) {
  parser.add_option("--html", outputs->html, "writes the report page to a file");
  parser.add_option("--junit", outputs->junit, "writes the result as JUnit's XML to a file");
  parser.add_option("--csv", outputs->csv, "writes measurements and samples as CSV files to a folder");
}

std::string absolute(const std::string& file) {
  return file.empty() ? "" : std::filesystem::absolute(file).lexically_normal().string();
}

void require_places(RunOutputs* outputs) {
  namespace fs = std::filesystem;
  for (std::string* file : {&outputs->html, &outputs->junit, &outputs->csv}) *file = absolute(*file);
  const std::pair<const char*, const std::string*> kFiles[] = {{"--html", &outputs->html},
                                                               {"--junit", &outputs->junit}};
  for (const auto& [option, file] : kFiles) {
    if (file->empty()) continue;
    const std::string named = std::string(option) + " " + *file + ": ";
    if (fs::is_directory(*file)) throw AppError(kUsage, named + "is a folder");
    const fs::path folder = fs::path(*file).parent_path();
    if (!fs::is_directory(folder)) throw AppError(kUsage, named + folder.string() + " is no folder");
  }
  if (!outputs->csv.empty() && fs::exists(outputs->csv) && !fs::is_directory(outputs->csv))
    throw AppError(kUsage, "--csv " + outputs->csv + ": is no folder");
}

bool delivered(const char* what, const std::function<void()>& deliver) {
  try {
    deliver();
    return true;
  } catch (const std::exception& error) {
    std::cerr << "sensorcal: " << what << error.what() << "\n";
    return false;
  }
}

bool write_outputs(const record::Run& run, const RunOutputs& outputs, const Aside& aside) {
  bool all = true;
  const auto write = [&](const std::string& file, const std::function<void()>& written) {
    if (!file.empty()) all &= delivered("", written);
  };
  write(outputs.html, [&] { write_html_report(run, outputs.html, aside); });
  write(outputs.junit, [&] { write_junit(run, outputs.junit); });
  write(outputs.csv, [&] { write_csv(run, outputs.csv); });
  return all;
}

}  // namespace factory
