// Multisection files from arbitrary bytes: opening must either succeed or
// raise the class's own nex_TextException; every section must then read back
// or report its damage; and an update saved over such a file must give a
// file whose sections all check, with the new value in place, no lock and no
// staging file left behind.
#include <dirent.h>

#include <vector>

#include "FuzzSupport.h"
#include "utl/utl_Crc32.h"
#include "utl/utl_MultisectionFile.h"

using vnkfuzz::Str;

namespace {

// Reads every section by name: its bytes, or "?" for a section that did not
// check. A section longer than the file cannot check and is not read: a
// buffer of its stated length, for each such section, would cost only time.
std::vector<std::string> ReadAll(utl_MultisectionFile& f, const std::string& prefix, long long fileSize) {
  std::vector<std::string> out;
  for (int i = 0; i < f.SectionCount(); ++i) {
    const cow_String name = f.SectionName(i);
    VNKFUZZ_CHECK(f.hasSection(name), Str(name));
    int length = f.getSectionLength(name);
    if (length > fileSize) {
      out.push_back("?");
      continue;
    }
    std::string buf(length > 0 ? length : 0, '\0');
    char spare;
    try {
      f.getSectionData(name, length > 0 ? buf.data() : &spare);
      out.push_back(buf);
    } catch (const nex_TextException& e) {
      std::string text = Str(e.AsString());
      VNKFUZZ_CHECK(text == prefix + "Data corrupted in section \"" + Str(name) + "\"", text);
      out.push_back("?");
    }
  }
  return out;
}

std::vector<std::string> Listing(const std::string& dir) {
  std::vector<std::string> names;
  DIR* d = opendir(dir.c_str());
  while (dirent* e = readdir(d))
    if (e->d_name[0] != '.') names.push_back(e->d_name);
  closedir(d);
  return names;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string dir = vnkfuzz::Scratch();
  const std::string path = dir + "/input.msf";
  const std::string prefix = "\"" + path + "\": ";
  vnkfuzz::WriteFile(path, std::string(reinterpret_cast<const char*>(data), size));

  std::vector<std::string> before;
  bool existed = false;
  try {
    utl_MultisectionFile f(path.c_str(), utl_FileRead);
    before = ReadAll(f, prefix, static_cast<long long>(size));
    existed = f.hasSection("fuzz-new");
  } catch (const nex_TextException& e) {
    std::string text = Str(e.AsString());
    VNKFUZZ_CHECK(text == prefix + "Invalid file type" || text == prefix + "Unsupported file format" ||
                      text == prefix + "Invalid string length",
                  text);
    return 0;
  }

  const std::string value(reinterpret_cast<const char*>(data), size < 64 ? size : 64);
  try {
    utl_MultisectionFile f(path.c_str(), utl_FileUpdate);
    f.setSectionData("fuzz-new", value.data(), static_cast<int>(value.size()));
    f.saveChanges();
  } catch (const nex_TextException& e) {
    // A kept section the file does not hold (cut short, or placed before the
    // data by a negative length) cannot be copied: the save is refused and
    // the file stays as it was.
    const std::string text = Str(e.AsString());
    const std::string refused = prefix + "Data corrupted in section \"";
    VNKFUZZ_CHECK(text.compare(0, refused.size(), refused) == 0, text);
    VNKFUZZ_CHECK(vnkfuzz::ReadFile(path) == std::string(reinterpret_cast<const char*>(data), size), "changed");
    VNKFUZZ_CHECK(Listing(dir) == std::vector<std::string>{"input.msf"}, "lock or staging file left");
    return 0;
  }
  VNKFUZZ_CHECK(Listing(dir) == std::vector<std::string>{"input.msf"}, "lock or staging file left");

  // Every section that checked before reads the same; the new one holds its
  // value; a section that was damaged may stay so.
  utl_MultisectionFile back(path.c_str(), utl_FileRead);
  VNKFUZZ_CHECK(back.SectionCount() == static_cast<int>(before.size()) + (existed ? 0 : 1),
                std::to_string(back.SectionCount()));
  const std::vector<std::string> after = ReadAll(back, prefix, static_cast<long long>(vnkfuzz::ReadFile(path).size()));
  for (int i = 0; i < back.SectionCount(); ++i) {
    const std::string name = Str(back.SectionName(i));
    if (name == "fuzz-new") {
      VNKFUZZ_CHECK(after[i] == value, "new value: " + after[i]);  // lookups find the first of a name
    } else if (i < static_cast<int>(before.size()) && before[i] != "?") {
      VNKFUZZ_CHECK(after[i] == before[i], name);
    }
  }
  return 0;
}
