// Writes the pages of the made-up runs into a folder, for a browser to open.
#include <filesystem>

#include "records.h"
#include "report/report.h"

int main(int argc, char** argv) {
  const std::filesystem::path folder = argc > 1 ? argv[1] : ".";
  std::filesystem::create_directories(folder);
  factory::write_html_report(records::passed(), folder / "passed.html");
  factory::write_html_report(records::failed(), folder / "failed.html");
  factory::write_html_report(records::error(), folder / "error.html");
  factory::write_html_report(records::with_text_everywhere(records::hostile_text()), folder / "hostile.html");
}
