#include "run/identity.h"

#include <link.h>
#include <string.h>

#include "files/numbers.h"

namespace factory::plan {
namespace {

// The build id among the notes of one segment.
std::string id_in_notes(const unsigned char* at, size_t size) {
  constexpr ElfW(Word) kBuildId = 3;  // NT_GNU_BUILD_ID
  constexpr size_t kAlign = 4;
  const auto padded = [](size_t n) { return (n + kAlign - 1) / kAlign * kAlign; };
  while (size > sizeof(ElfW(Nhdr))) {
    ElfW(Nhdr) note;
    memcpy(&note, at, sizeof note);
    const size_t name = padded(note.n_namesz);
    const size_t whole = sizeof note + name + padded(note.n_descsz);
    if (whole > size) break;
    if (note.n_type == kBuildId && note.n_namesz == 4 && memcmp(at + sizeof note, "GNU", 4) == 0)
      return hex(at + sizeof note + name, note.n_descsz);
    at += whole;
    size -= whole;
  }
  return "";
}

struct Search {
  std::string part;
  std::string id;
};

int look(dl_phdr_info* info, size_t /*size*/, void* data) {
  Search& search = *static_cast<Search*>(data);
  const std::string name = info->dlpi_name == nullptr ? "" : info->dlpi_name;
  // The program itself comes first, without a name.
  if (search.part.empty() ? !name.empty() : name.find(search.part) == std::string::npos) return 0;
  for (int i = 0; i < info->dlpi_phnum && search.id.empty(); ++i) {
    const ElfW(Phdr)& segment = info->dlpi_phdr[i];
    if (segment.p_type != PT_NOTE) continue;
    // The loader says where it put the segment as a number.
    search.id = id_in_notes(reinterpret_cast<const unsigned char*>(info->dlpi_addr + segment.p_vaddr),  // NOLINT
                            segment.p_memsz);
  }
  return 1;
}

}  // namespace

std::string build_id(const std::string& part) {
  Search search{part, ""};
  dl_iterate_phdr(look, &search);
  return search.id;
}

}  // namespace factory::plan
