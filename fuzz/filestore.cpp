// The file store's object images from arbitrary bytes. Decoding either
// raises the damage message or gives a tree whose encoding decodes to the
// same encoding again. With the first byte's low bit set the header (magic,
// version, length, checksum) is mended first, so that the structure checks
// behind the checksum get the bytes; with its second bit set a decoded image
// is also put in a multisection file and rebuilt by class ID and printed,
// as a reader of a foreign file would.
#include <vector>

#include "FuzzSupport.h"
#include "aio/aio_ostream.h"
#include "cls/cls_ClassRegistrar.h"
#include "pnt/pnt_PrettyPrint.h"
#include "uti/uti_Coord3D.h"
#include "utl/utl_Crc32.h"
#include "utl/utl_FileStore.h"

using vnkfuzz::Str;

namespace {

void PutU32(std::vector<unsigned char>& b, std::size_t at, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) b[at + i] = static_cast<unsigned char>(v >> (8 * i));
}

void CheckDamage(const nex_TextException& e) {
  const std::string text = Str(e.AsString());
  const std::string prefix = "*** Error: Damaged object store \"fuzzed\": ";
  VNKFUZZ_CHECK(text.compare(0, prefix.size(), prefix) == 0, text);
}

// Builds the section's object by class ID and prints it. The class's own
// reader decides what it accepts: any nex_Exception is an answer.
void ReadBack(const std::vector<unsigned char>& image) {
  const std::string path = vnkfuzz::Scratch() + "/store.msf";
  {
    utl_MultisectionFile f(path.c_str(), utl_FileWrite);
    f.setSectionData("s", image.data(), static_cast<int>(image.size()));
    f.saveChanges();
  }
  const cls_ClassRegistrar& r = omi_Singleton<cls_MetadataRegistrar>::Instance().GetRegistrar(2);
  utl_FileStore fs(path.c_str(), utl_FileRead);
  try {
    aio_stringostream out;
    pnt_PrettyPrint printer(&out);
    fs.PrintObject("s", r, &printer);
  } catch (const nex_Exception&) {
  }
  try {
    unsigned id = 0;
    void* o = fs.ReadObject("s", r, &id);
    // Every class that builds objects deletes them through its metadata
    // (leak checking catches one that does not).
    if (o != nullptr) r.ConstGet(id)->Delete(o);
  } catch (const nex_Exception&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::uint8_t mode = data[0];
  std::vector<unsigned char> image(data + 1, data + size);
  if ((mode & 1) && image.size() >= 24) {
    image[0] = 'V', image[1] = 'N', image[2] = 'K', image[3] = 'S';
    PutU32(image, 4, 1);
    const std::uint64_t payload = image.size() - 24;
    PutU32(image, 16, static_cast<std::uint32_t>(payload));
    PutU32(image, 20, static_cast<std::uint32_t>(payload >> 32));
    PutU32(image, 8, utl_crc32(image.data() + 12, image.size() - 12));
  }

  cls_MemObject* root = nullptr;
  try {
    root = utl_FileStore::Decode(image.data(), image.size(), "fuzzed");
  } catch (const nex_TextException& e) {
    CheckDamage(e);
    return 0;
  }
  VNKFUZZ_CHECK(root != nullptr, "no tree and no error");

  // What was accepted has a canonical image: encoding is a fixed point after
  // one round (identities are renumbered in order of first appearance).
  cls_MemVector<unsigned char> once, twice;
  utl_FileStore::Encode(*root, once);
  delete root;
  cls_MemObject* again = utl_FileStore::Decode(once.data(), once.size(), "fuzzed");
  utl_FileStore::Encode(*again, twice);
  delete again;
  VNKFUZZ_CHECK(once == twice, "encoding is not stable");

  if (mode & 2) ReadBack(image);
  return 0;
}
