// The process-wide objects the modules make at start-up or on first use: the
// debug printer, the memory manager, the memory devices, the version record
// and the type-table entries.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "aio/aio_ostream.h"
#include "bio/bio_MemoryDevice.h"
#include "mrm/mrm_Manager.h"
#include "nex/nex_Exception.h"
#include "pnt/pnt_PrettyPrint.h"
#include "support/TestSupport.h"
#include "typ/typ_ArchCompTable.h"
#include "utl/utl_Version.h"

namespace {

std::string S(const atr_StringBase& s) { return std::string(s.c_str(), s.Length()); }

TEST(PrettyPrint, ControlSequencesIndentAndEndLines) {
  aio_stringostream out;
  pnt_PrettyPrint p(&out);
  p.prettyprint("<< A", 4);
  p.prettyprint(pnt_PrettyPrint::NewLineSeq, 2);
  p.prettyprint(pnt_PrettyPrint::IndentSeq, 2);
  p << "x: " << 3;
  p.prettyprint(pnt_PrettyPrint::NewLineSeq, 2);
  p.BeginBlock("<< B");
  p << "one\ntwo";  // an embedded line feed indents the next line too
  p.NewLine();
  p.NewLine();  // an empty line gets no indentation
  p.EndBlock(">>");
  p.prettyprint(pnt_PrettyPrint::OutdentSeq, 2);
  p.prettyprint(pnt_PrettyPrint::OutdentSeq, 2);  // never below 0
  p.prettyprint(">>", 2);
  p.prettyprint("\x1bx\x1bnn", 5);  // other text, even with ESC, prints as it stands
  EXPECT_EQ(S(out.Str()), "<< A\n  x: 3\n  << B\n    one\n    two\n\n  >>\n>>\x1bx\x1bnn");
  EXPECT_EQ(p.IndentLevel(), 0);
}

TEST(PrettyPrint, ScalarsRenderAsDecimalText) {
  aio_stringostream out;
  pnt_PrettyPrint p(&out);
  p << -7 << ' ' << 4294967295u << ' ' << 0.5 << ' ' << 1.25f << ' ' << true << ' ' << false << ' '
    << static_cast<short>(-3) << ' ' << static_cast<unsigned short>(65535) << ' '
    << static_cast<unsigned char>(200) << ' ' << atr_String("str") << ' '
    << static_cast<const char*>(nullptr) << "|";
  EXPECT_EQ(S(out.Str()), "-7 4294967295 0.5 1.25 1 0 -3 65535 200 str |");
}

TEST(PrettyPrint, DebugPrinterFollowsTheErrorStream) {
  pnt_PrettyPrint& d = pnt_debugPrint();
  EXPECT_EQ(&d, &pnt_debugPrint());
  EXPECT_TRUE(pnt_debugPrintExists());
  vnktest::CaptureCerr cap;
  d << "to the captured stream";
  d.NewLine();
  EXPECT_EQ(cap.Text(), "to the captured stream\n");
}

TEST(MemoryManager, StartUpRegistersAPrinterPerKind) {
  mrm_Manager& m = mrm_Manager::Instance();
  EXPECT_EQ(&m, mrm_Manager::Peek());
  int plain = m.AddLabel(mrm_LabelPlain, "plain");
  int pool = m.AddLabel(mrm_LabelPool, "blocks");
  m.Charge(pool, 100);
  m.Charge(pool, -40);
  m.Charge(plain, 5);
  EXPECT_EQ(S(m.Render(plain)), "plain: 5 bytes");
  EXPECT_EQ(S(m.Render(pool)), "pool blocks: 60 bytes (peak 100 bytes)");
  EXPECT_EQ(S(m.Render(m.AddLabel(mrm_LabelCache, "c"))), "cache c: 0 bytes (peak 0 bytes)");
  EXPECT_EQ(S(m.Render(m.AddLabel(mrm_LabelPhase, "p"))), "phase p: 0 bytes (peak 0 bytes)");
}

atr_String Custom(const mrm_Label& l) { return atr_String("custom ") + l.m_Name; }

TEST(MemoryManager, LabelsSurviveGrowthAndReportInOrder) {
  mrm_Manager m;  // a private instance: the process's keeps its printers
  m.RegisterLabelPrinter(5, &Custom);
  m.RegisterLabelPrinter(-1, &Custom);  // out of range: ignored
  EXPECT_EQ(m.GetLabelPrinter(-1), nullptr);
  std::string expected;
  for (int i = 0; i < 40; ++i) {  // past two reallocations of the label array
    std::string name = "label" + std::to_string(i);
    int id = m.AddLabel(i % 2 ? 5 : 7, name.c_str());
    m.Charge(id, i);
    expected += i % 2 ? "custom " + name + "\n" : name + ": " + std::to_string(i) + " bytes\n";
  }
  aio_stringostream out;
  m.Report(out);
  EXPECT_EQ(S(out.Str()), expected);
}

TEST(MemoryDevice, BufferGrowsWithZerosAndKeepsItsContents) {
  bio_Buffer b(3);
  ASSERT_EQ(b.Size(), 3u);
  EXPECT_EQ(std::memcmp(b.Data(), "\0\0\0", 3), 0);
  b.Data()[0] = 'a';
  for (int i = 0; i < 1000; ++i) b.Append("xyz", 3);
  EXPECT_EQ(b.Size(), 3003u);
  EXPECT_EQ(b.Data()[0], 'a');
  EXPECT_EQ(std::memcmp(b.Data() + 3000, "xyz", 3), 0);
  b.Resize(1);
  b.Resize(4);
  EXPECT_EQ(std::memcmp(b.Data(), "a\0\0\0", 4), 0);
  b.Clear();
  EXPECT_EQ(b.Size(), 0u);
  EXPECT_EQ(bio_Buffer(0).Size(), 0u);
}

TEST(MemoryDevice, OutputOverwritesAndExtendsInputReadsToTheEnd) {
  bio_Buffer b(0);
  bio_OmemoryDevice out(b);
  out.Write("hello world", 11);
  out.Seek(6);
  out.Write("there!", 6);  // overwrites five bytes and extends by one
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(b.Data()), b.Size()), "hello there!");
  out.Seek(14);  // a gap is filled with zeros
  out.Write("Z", 1);
  EXPECT_EQ(b.Size(), 15u);
  EXPECT_EQ(b.Data()[12], 0);

  bio_ImemoryDevice in(b);
  char buf[8];
  EXPECT_EQ(in.Read(buf, 5), 5u);
  EXPECT_EQ(std::string(buf, 5), "hello");
  in.Seek(12);
  EXPECT_EQ(in.Read(buf, 8), 3u);  // only what is left
  EXPECT_TRUE(in.AtEnd());
  EXPECT_EQ(in.Read(buf, 8), 0u);
  in.Seek(100);
  EXPECT_EQ(in.Read(buf, 1), 0u);
}

TEST(MemoryDevice, StartUpMakesOneSharedBufferAndTwoSparePairs) {
  bio_Buffer* shared = bio_sharedBuffer();
  ASSERT_TRUE(shared && bio_sharedOutput() && bio_sharedInput());
  EXPECT_EQ(&bio_sharedOutput()->Buffer(), shared);
  EXPECT_EQ(&bio_sharedInput()->Buffer(), shared);
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(bio_spareBuffer(i) && bio_spareInput(i));
    EXPECT_EQ(&bio_spareInput(i)->Buffer(), bio_spareBuffer(i));
    EXPECT_NE(bio_spareBuffer(i), shared);
  }
  EXPECT_NE(bio_spareBuffer(0), bio_spareBuffer(1));
  EXPECT_TRUE(bio_spareBuffer(2) == nullptr && bio_spareInput(-1) == nullptr);
}

TEST(Version, ComesFromTheBuild) {
  const utl_Version& v = utl_Version::Get();
  EXPECT_EQ(&v, &utl_Version::Get());
  EXPECT_EQ(S(v.Text()), VNKUTI_EXPECTED_VERSION);
  EXPECT_EQ(S(v.Text()), std::to_string(v.Major()) + "." + std::to_string(v.Minor()) + "." +
                             std::to_string(v.Patch()));
}

TEST(TypeTable, ModulesEnterTheirClassesAtTheirNumbers) {
  const std::pair<unsigned, const char*> names[] = {{0x1A0001, "cow_String"},      {0x230001, "cls_InternalList"},
                                                     {0x2001D, "uti_CoordCont3D"},  {0x2001F, "uti_XypException"},
                                                     {0x2001C, "uti_Coord3D"},      {0x20020, "uti_IOErrorException"}};
  for (const auto& [id, name] : names) EXPECT_STREQ(typ_ArchCompTable::GetName(id), name);
  EXPECT_EQ(typ_ArchCompTable::GetParent(0x2001D), 1u);
  EXPECT_EQ(typ_ArchCompTable::GetParent(0x230001), 1u);
}

TEST(TypeTable, ScriptingExceptionsDeriveFromTheCommandException) {
  for (unsigned id : {0x2001Eu, 0x2001Fu, 0x20020u, 0x20021u, 0x20022u, 0x20023u}) {
    SCOPED_TRACE(typ_ArchCompTable::GetName(id));
    EXPECT_EQ(typ_ArchCompTable::GetParent(id), nex_CommandException::TypeId());
    EXPECT_TRUE(nex_canDynamicCastPtr(nex_Exception::TypeId(), id));
    EXPECT_FALSE(nex_canDynamicCastPtr(nex_TextException::TypeId(), id));
  }
  EXPECT_TRUE(nex_canDynamicCastPtr(nex_TextException::TypeId(), 0x20024));  // not found on the path
  EXPECT_FALSE(nex_canDynamicCastPtr(nex_Exception::TypeId(), 0x2001D));
}

}  // namespace
