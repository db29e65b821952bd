// The file store: arrays and objects through a multisection file, read by a
// second process; the image rejects every flipped or truncated byte.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "cls/cls_ArrayPrim.h"
#include "cls/cls_ClassRegistrar.h"
#include "cls/cls_xpTypes.h"
#include "nex/nex_Exception.h"
#include "pnt/pnt_PrettyPrint.h"
#include "support/TestSupport.h"
#include "uti/uti_Coord3D.h"
#include "utl/utl_Crc32.h"
#include "utl/utl_FileStore.h"

namespace {

const cls_ClassRegistrar& Registrar() { return omi_Singleton<cls_MetadataRegistrar>::Instance().GetRegistrar(2); }
std::string Str(const atr_StringBase& s) { return std::string(s.c_str(), s.Length()); }
float Value(int i) { return static_cast<float>(i) * 0.25f - 3.0f; }
int Blocks(int n) { return (n + cls_ArrayPrimBlockSize - 1) / cls_ArrayPrimBlockSize; }
cow_String C(const std::string& s) { return cow_String(s.c_str()); }

nex_TextException StoredException() {
  try {
    nex_TextException("stored").Throw("utl/impl/utl_File", 12);
  } catch (const nex_TextException& e) {
    return e;
  }
  return nex_TextException("unreached");
}

const char* const kExceptionText =
    "\n<< CLASS NAME: nex_TextException\n  m_FromFile: utl/impl/utl_File\n  m_FromLine: 12\n  m_Value: stored\n>>\n";

// A sequential pass over an attached array sees every value, keeps at most
// one block resident and loads each block once.
void ExpectSequentialPass(const cls_ArrayPrim<float>& b, int n) {
  ASSERT_EQ(b.Size(), n);
  bool same = true;
  int most = 0;
  for (int i = 0; i < n; ++i) {
    same = same && b.ConstGet(i) == Value(i);
    if (b.ResidentBlocks() > most) most = b.ResidentBlocks();
  }
  EXPECT_TRUE(same);
  EXPECT_LE(most, 1);
  EXPECT_EQ(b.BlockLoads(), Blocks(n));
}

void WriteObjects(const std::string& path) {
  utl_FileStore fs(C(path), utl_FileWrite);
  fs.WriteObject("exception", StoredException());
  uti_CoordCont3D coords;
  for (int i = 0; i < 3; ++i) coords.Append(uti_Coord3D(i, i + 0.5f, -i));
  fs.WriteObject("coords", coords);
  cls_ArrayPrim<float> big;
  for (int i = 0; i < 1000000; ++i) big.Append(Value(i));
  fs.WriteObject("floats", big);
  fs.Save();
}

void CheckObjects(const std::string& path) {
  utl_FileStore fs(C(path), utl_FileRead);
  const cls_ClassRegistrar& r = Registrar();
  unsigned id = 0;
  void* e = fs.ReadObject("exception", r, &id);
  EXPECT_EQ(id, nex_TextException::TypeId());
  ASSERT_NE(e, nullptr);
  auto* ex = static_cast<nex_TextException*>(static_cast<nex_Exception*>(e));
  EXPECT_EQ(ex->Value(), "stored");
  EXPECT_EQ(ex->FromLine(), 12);
  r.ConstGet(id)->Delete(e);

  // Classes registered with a constructor function delete through their
  // metadata too (the leak checkers of the sanitizer and valgrind runs see
  // one that does not).
  void* c = fs.ReadObject("coords", r, &id);
  EXPECT_EQ(id, uti_CoordCont3D::TypeId());
  ASSERT_NE(c, nullptr);
  const uti_CoordCont3D* coords = static_cast<uti_CoordCont3D*>(c);
  EXPECT_EQ(coords->Count(), 3);
  EXPECT_EQ(coords->Get(2), uti_Coord3D(2, 2.5f, -2));
  r.ConstGet(id)->Delete(c);

  void* f = fs.ReadObject("floats", r, &id);
  EXPECT_EQ(id, 0x230001u);
  ASSERT_NE(f, nullptr);
  ExpectSequentialPass(*static_cast<cls_ArrayPrim<float>*>(static_cast<cls_ArrayPrimBase*>(f)), 1000000);
  r.ConstGet(id)->Delete(f);

  aio_stringostream out;
  pnt_PrettyPrint printer(&out);
  EXPECT_TRUE(fs.PrintObject("exception", r, &printer));
  EXPECT_EQ(Str(out.Str()), kExceptionText);
  EXPECT_FALSE(fs.PrintObject("absent", r, &printer));
}

TEST(FileStore, ArraysOfEveryEdgeSizeSurviveTheFile) {
  vnktest::TempDir dir;
  const std::string path = dir.File("arrays.vnk");
  const int sizes[] = {0, 1, 2047, 2048, 2049, 1000000};
  {
    utl_FileStore fs(C(path), utl_FileWrite);
    for (int n : sizes) {
      cls_ArrayPrim<float> a;
      for (int i = 0; i < n; ++i) a.Append(Value(i));
      cls_WriteVisitor root(fs.Store("arrays").MakeWriteMemento());
      cls_WriteObject(root, cls_FieldHandle(C("a" + std::to_string(n)), 0), a);
    }
    fs.Save();
  }
  utl_FileStore fs(C(path), utl_FileUpdate);
  cls_ReadVisitor root(fs.Store("arrays").MakeReadMemento());
  for (int n : sizes) {
    SCOPED_TRACE(n);
    cls_ArrayPrim<float> b((cls_ReadVisitor(root, cls_FieldHandle(C("a" + std::to_string(n)), 0))));
    ExpectSequentialPass(b, n);
    if (n == 2049) b.Get(2048) = 42.0f;  // goes back to the store, then to the file
  }
  fs.Save();
  utl_FileStore again(C(path), utl_FileRead);
  cls_ReadVisitor r2(again.Store("arrays").MakeReadMemento());
  EXPECT_EQ(cls_ArrayPrim<float>(cls_ReadVisitor(r2, cls_FieldHandle("a2049", 0))).ConstGet(2048), 42.0f);
}

TEST(FileStore, ObjectsRebuiltByClassIDAndPrintedHereAndInASecondProcess) {
  vnktest::TempDir dir;
  const std::string path = dir.File("shared.vnk");
  const std::string done = dir.File("child.ok");
  WriteObjects(path);
  CheckObjects(path);
  const std::string cmd = "VNK_FILESTORE='" + path + "' VNK_FILESTORE_DONE='" + done + "' '" + vnktest::SelfPath() +
                          "' --gtest_filter=FileStoreChild.ReadsWhatTheParentWrote >/dev/null 2>&1";
  EXPECT_EQ(std::system(cmd.c_str()), 0);
  EXPECT_TRUE(std::ifstream(done).good()) << "the child did not run its checks";
}

TEST(FileStoreChild, ReadsWhatTheParentWrote) {
  const char* path = std::getenv("VNK_FILESTORE");
  const char* done = std::getenv("VNK_FILESTORE_DONE");
  if (path == nullptr || done == nullptr) GTEST_SKIP() << "runs only as the child of FileStore.ObjectsRebuilt...";
  CheckObjects(path);
  if (!HasFailure()) std::ofstream(done) << "ok\n";
}

TEST(FileStore, DamagedSectionOnDiskIsReported) {
  vnktest::TempDir dir;
  const std::string path = dir.File("damaged.vnk");
  WriteObjects(path);
  {
    std::fstream f(path, std::ios::in | std::ios::out | std::ios::binary);
    f.seekp(-100, std::ios::end);  // inside the last section's data
    f.put('\x5A');
  }
  utl_FileStore fs(C(path), utl_FileRead);
  EXPECT_THROW(fs.Store("floats"), nex_TextException);
  EXPECT_NO_THROW(fs.Store("exception"));
}

// A small tree with every value kind, collections, a blob, base parts and
// one identity shared by two objects.
void SmallTree(cls_MemStore& s) {
  struct Node {
    cls_Uid m_Uid;
    void DBWrite(const cls_WriteVisitor& v) const {
      if (!v.StartWrite(0x2300D1, m_Uid)) return;
      {
        cls_WriteVisitor base(v, 0x2300D2);
        if (base.StartWrite(0x2300D2, m_Uid)) base.Write(cls_FieldHandle("b", 0), 'q');
      }
      v.Write(cls_FieldHandle("s", 0), "text");
      v.Write(cls_FieldHandle("d", 1), -2.5);
      v.Write(cls_FieldHandle("u", 2), 4000000000u);
      v.Write(cls_FieldHandle("t", 3), true);
      v.Write(cls_FieldHandle("ll", 4), -5LL);
      v.WriteNull(cls_FieldHandle("n", 5));
      cls_WriteMapString2Prim<int>* m = v.MakeWriteMapString2Prim<int>(cls_FieldHandle("m", 6), 2);
      m->Insert("b", 2);
      m->Insert("a", 1);
      cls_Release(m);
      cls_WriteListPrim<bool>* l = v.MakeWriteListPrim<bool>(cls_FieldHandle("l", 7), 3);
      for (bool x : {true, false, true}) l->Append(x);
      cls_Release(l);
      cls_BlobWriter blob(v, cls_FieldHandle("blob", 8), m_Uid);
      blob.Append("\x01\x02\x03", 3);
    }
  };
  Node one, two;
  two.m_Uid = one.m_Uid;  // the same object reached twice
  cls_WriteVisitor root(s.MakeWriteMemento());
  cls_WriteObject(root, cls_FieldHandle("one", 0), one);
  cls_WriteObject(root, cls_FieldHandle("two", 1), two);
  cls_WriteObject(root, cls_FieldHandle("e", 2), StoredException());
  cow_Map<int, cow_String> words;
  words.Insert(-1, "minus");
  words.Insert(3, "three");
  cls_WriteObject(root, cls_FieldHandle("words", 3), cls_xpMapInt2String(words));
}

TEST(FileStoreImage, RoundTripKeepsEveryKindAndSharedIdentities) {
  cls_MemStore s;
  SmallTree(s);
  cls_MemVector<unsigned char> image;
  utl_FileStore::Encode(s.Root(), image);
  cls_MemStore back;
  back.ReplaceRoot(utl_FileStore::Decode(image.data(), image.size(), "small"));
  cls_MemVector<unsigned char> again;
  utl_FileStore::Encode(back.Root(), again);
  EXPECT_TRUE(again == image);  // identities renumbered in the same order
  const cls_MemObject* one = back.Root().FieldAt(0).Value().Object();
  const cls_MemObject* two = back.Root().FieldAt(1).Value().Object();
  EXPECT_EQ(one->Uid(), two->Uid());
  EXPECT_FALSE(one->Uid().IsEmpty());
  EXPECT_NE(one->Uid(), s.Root().FieldAt(0).Value().Object()->Uid());  // a new entry in this process

  // Replaying the stored tree into another store gives the same image.
  cls_MemStore copy;
  {
    cls_MementoWrite* m = copy.MakeWriteMemento();
    cls_MemStore::Replay(back.Root(), *m);
    delete m;
  }
  utl_FileStore::Encode(copy.Root(), again);
  EXPECT_TRUE(again == image);
}

// Each flip is tried as it is, which the checksum must catch, and with the
// checksum mended, where only the structure checks stand between the bytes
// and the tree: those may accept a value changed into another valid one, but
// must never crash.
TEST(FileStoreImage, FlippedTruncatedAndForgedBytes) {
  cls_MemStore s;
  SmallTree(s);
  cls_MemVector<unsigned char> encoded;
  utl_FileStore::Encode(s.Root(), encoded);
  const std::vector<unsigned char> image(encoded.begin(), encoded.end());
  ASSERT_GT(image.size(), 200u);
  int rejected = 0, accepted = 0;
  for (std::size_t i = 0; i < image.size(); ++i) {
    for (unsigned char mask : {0x01, 0x40, 0x80, 0xFF}) {
      std::vector<unsigned char> bad = image;
      bad[i] ^= mask;
      try {
        delete utl_FileStore::Decode(bad.data(), bad.size(), "small");
        ADD_FAILURE() << "flip at byte " << i << " was not noticed";
      } catch (const nex_TextException& e) {
        if (i == 0) {
          EXPECT_EQ(Str(e.Value()), "*** Error: Damaged object store \"small\": not an object store image at byte 4.");
        }
      }
      if (i < 12) continue;
      const std::uint32_t crc = utl_crc32(bad.data() + 12, bad.size() - 12);
      for (int k = 0; k < 4; ++k) bad[8 + k] = static_cast<unsigned char>(crc >> (8 * k));
      try {
        delete utl_FileStore::Decode(bad.data(), bad.size(), "forged");
        ++accepted;
      } catch (const nex_TextException&) {
        ++rejected;
      }
    }
  }
  EXPECT_GT(rejected, 0);
  EXPECT_GT(accepted, 0);
  for (std::size_t n = 0; n < image.size(); ++n) {
    std::vector<unsigned char> cut(image.begin(), image.begin() + static_cast<std::ptrdiff_t>(n));
    EXPECT_THROW(delete utl_FileStore::Decode(cut.data(), cut.size(), "small"), nex_TextException) << n;
  }
}

}  // namespace
