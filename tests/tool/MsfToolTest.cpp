// vnkuti msf as a user runs it: binary round trips through put and get,
// listings, removal, damage found by verify and refused by get, a second
// writer refused, the file store's objects dumped, and every bad input
// answered with an error rather than a crash.
#include "ToolRun.h"
#include "nex/nex_Exception.h"
#include "utl/utl_Crc32.h"
#include "utl/utl_FileStore.h"

using namespace tooltest;

namespace {

class MsfTool : public MsfFile {
 protected:
  std::string Crc(const std::string& bytes) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08x", utl_crc32(bytes.data(), bytes.size()));
    return text;
  }
};

TEST_F(MsfTool, BinarySectionsRoundTripThroughEveryPath) {
  const std::string all = AllBytes();
  const std::string big = AllBytes(3 << 20);  // crosses the 1 MiB pieces
  Put("all", all);
  Put("empty", "");
  WriteAll(dir.File("big.in"), big);
  ASSERT_EQ(Said(Tool({"msf", "put", file, "big", "-i", dir.File("big.in")})), "0 |");

  EXPECT_EQ(Said(Tool({"msf", "get", file, "all"})), "0 " + all + "|");
  EXPECT_EQ(Tool({"msf", "get", file, "empty"}).out, "");
  EXPECT_EQ(Said(Tool({"msf", "get", "-o", dir.File("big.out"), file, "big"})), "0 |");
  EXPECT_TRUE(ReadAll(dir.File("big.out")) == big);
  EXPECT_TRUE(Tool({"msf", "get", file, "big", "-o", "-"}).out == big);

  // Directory order, lengths and the library's CRCs, as text and as JSON.
  Result list = Tool({"msf", "list", file});
  EXPECT_EQ(list.out, "all\t256\t" + Crc(all) + "\nempty\t0\t0xffffffff\nbig\t" + std::to_string(big.size()) + "\t" +
                          Crc(big) + "\n");
  Result json = Tool({"msf", "list", file, "-json"});
  EXPECT_EQ(json.out, "[\n  {\"name\": \"all\", \"length\": 256, \"crc\": \"" + Crc(all) +
                          "\"},\n  {\"name\": \"empty\", \"length\": 0, \"crc\": \"0xffffffff\"},\n"
                          "  {\"name\": \"big\", \"length\": " + std::to_string(big.size()) + ", \"crc\": \"" +
                          Crc(big) + "\"}\n]\n");
  // Replacing keeps the place; removing keeps the others and their bytes.
  Put("all", "x");
  ASSERT_EQ(Tool({"msf", "rm", file, "empty"}).status, 0);
  EXPECT_EQ(Tool({"msf", "list", file}).out,
            "all\t1\t" + Crc("x") + "\nbig\t" + std::to_string(big.size()) + "\t" + Crc(big) + "\n");
  EXPECT_TRUE(Tool({"msf", "get", file, "big"}).out == big);
  EXPECT_EQ(Tool({"msf", "verify", file}).status, 0);
}

TEST_F(MsfTool, LargeSectionsReachStandardOutputOnlyWhenTheyCheck) {
  const std::string big = AllBytes(17 << 20);  // beyond what get holds in memory
  Put("big", big);
  EXPECT_TRUE(Tool({"msf", "get", file, "big"}).out == big);
  std::string bad = ReadAll(file);
  bad[bad.size() - 3] ^= 0x40;
  WriteAll(file, bad);
  EXPECT_EQ(Said(Tool({"msf", "get", file, "big"})), "1 |\"" + file + "\": Data corrupted in section \"big\"\n");
}

TEST_F(MsfTool, NamesThatNeedEscapes) {
  Put("tab\there\\", "1");
  Put("\xc3\xa9\xff\"", "2");
  EXPECT_EQ(Tool({"msf", "list", file}).out,
            "tab\\there\\\\\t1\t" + Crc("1") + "\n\xc3\xa9\xff\"\t1\t" + Crc("2") + "\n");
  std::string json = Tool({"msf", "list", file, "-json"}).out;
  EXPECT_NE(json.find("\"tab\\there\\\\\""), std::string::npos) << json;
  EXPECT_NE(json.find("\"\xc3\xa9\\u00ff\\\"\""), std::string::npos) << json;
}

TEST_F(MsfTool, FlippedByteIsFoundByVerifyAndRefusedByGet) {
  Put("a", std::string(100, 'a'));
  Put("b", std::string(100, 'b'));
  const std::string good = ReadAll(file);
  WriteAll(dir.File("out"), "old");
  for (const char* name : {"a", "b"}) {
    SCOPED_TRACE(name);
    std::string bad = good;
    bad[good.size() - (name[0] == 'a' ? 150 : 1)] ^= 0x01;
    WriteAll(file, bad);
    EXPECT_EQ(Said(Tool({"msf", "verify", file})),
              "1 " + std::string(name) + "\n|vnkuti: 1 of 2 sections of " + file + " fail their CRC\n");
    EXPECT_EQ(Tool({"msf", "verify", file, "-json"}).out,
              "{\"file\": \"" + file + "\", \"sections\": 2, \"damaged\": [\"" + name + "\"]}\n");
    EXPECT_EQ(Said(Tool({"msf", "get", file, name})), "1 |\"" + file + "\": Data corrupted in section \"" + name + "\"\n");
    EXPECT_EQ(Tool({"msf", "get", file, name, "-o", dir.File("out")}).status, 1);
    EXPECT_EQ(ReadAll(dir.File("out")), "old");  // left as it was
  }
  // A file cut short fails the sections it no longer holds.
  WriteAll(file, good.substr(0, good.size() - 10));
  EXPECT_EQ(Tool({"msf", "verify", file}).out, "b\n");
}

TEST_F(MsfTool, SecondWriterIsRefusedQuickly) {
  Put("a", "1");
  const std::string before = ReadAll(file);
  WriteAll(file + ".lock", "");  // held, as a running writer holds it
  for (std::vector<std::string> args : std::vector<std::vector<std::string>>{
           {"msf", "put", file, "a", "-i", file}, {"msf", "rm", file, "a"}}) {
    Result r = Tool(args);
    EXPECT_LT(r.seconds, 1.0);
    EXPECT_EQ(Said(r).substr(0, Said(r).find('\n')), "1 |\"" + file + "\": Cannot create the lock file.");
  }
  EXPECT_EQ(ReadAll(file), before);
  EXPECT_TRUE(Exists(file + ".lock"));
  // Readers take no lock.
  EXPECT_EQ(Tool({"msf", "get", file, "a"}).out, "1");
}

TEST_F(MsfTool, DumpPrintsTheFileStoresObject) {
  try {
    nex_TextException("kept for later").Throw("utl/impl/utl_File", 7);
  } catch (const nex_TextException& thrown) {
    utl_FileStore store(file.c_str(), utl_FileWrite);
    store.WriteObject("failure", thrown);
    store.Save();
  }
  EXPECT_EQ(Said(Tool({"msf", "dump", file, "failure"})),
            "0 \n<< CLASS NAME: nex_TextException\n  m_FromFile: utl/impl/utl_File\n  m_FromLine: 7\n"
            "  m_Value: kept for later\n>>\n|");
  Put("raw", "not an object image");
  EXPECT_EQ(Said(Tool({"msf", "dump", file, "raw"})),
            "1 |*** Error: Damaged object store \"raw\": truncated header at byte 0.\n");
}

TEST_F(MsfTool, BadInputGetsAClearError) {
  Put("a", "1");
  struct Case {
    std::vector<std::string> args;
    int status;
    std::string err;  // the first line of standard error
  };
  const std::string missing = dir.File("missing.msf");
  const std::string notMsf = dir.File("plain.txt");
  WriteAll(notMsf, "just text");
  const Case cases[] = {
      {{"msf", "list", missing}, 1, "*** Error: No such file (utl_File: in OpenRead)"},
      {{"msf", "rm", missing, "a"}, 1, "*** Error: No such file (utl_File: in OpenUpdate)"},
      {{"msf", "list", notMsf}, 1, "\"" + notMsf + "\": Invalid file type"},
      {{"msf", "get", file, "nope"}, 1, "\"" + file + "\": No section \"nope\""},
      {{"msf", "rm", file, "nope"}, 1, "\"" + file + "\": No section \"nope\""},
      {{"msf", "put", file, "a", "-i", missing}, 1, "*** Error: No such file (utl_File: in OpenRead)"},
      {{}, 2, "vnkuti: no command given"},
      {{"frobnicate"}, 2, "vnkuti: unknown command frobnicate"},
      {{"msf", "get", file}, 2, "vnkuti: missing FILE and SECTION"},
      {{"msf", "list", file, "extra"}, 2, "vnkuti: unexpected argument extra"},
      {{"msf", "list", file, "-x"}, 2, "vnkuti: unknown option -x"},
      {{"msf", "get", file, "a", "-o"}, 2, "vnkuti: option -o needs a value"},
  };
  for (const Case& c : cases) {
    const std::string said = Said(Tool(c.args));
    EXPECT_EQ(said.substr(0, said.find('\n')), std::to_string(c.status) + " |" + c.err);
    EXPECT_TRUE(c.status != 2 || said.find("usage: vnkuti") != std::string::npos) << said;
  }
  EXPECT_FALSE(Exists(missing));
  EXPECT_FALSE(Exists(missing + ".lock"));
}

}  // namespace
