// The tool's other commands through the real binary: base64 and crc on
// files and the standard streams, run with every redirection symbol, a time
// limit and an environment, arguments from -clargsfile, help, version and
// the demo.
#include "ToolRun.h"
#include "utl/utl_Base64.h"

using namespace tooltest;

namespace {

class CommandsTool : public ::testing::Test {
 protected:
  vnktest::TempDir dir;
};

std::string LibraryEncode(const std::string& bytes, bool wrap) {
  cow_String data(bytes.data(), static_cast<int>(bytes.size()));
  cow_String text = utl_base64Encode(data, wrap);
  return std::string(text.c_str(), text.Length());
}

TEST_F(CommandsTool, Base64RoundTripsBinaryThroughStreamsAndFiles) {
  for (std::size_t size : {0u, 1u, 57u, 58u, 256u, 100000u}) {
    SCOPED_TRACE(size);
    const std::string bytes = AllBytes(size);
    for (bool wrap : {false, true}) {
      std::vector<std::string> args = {"base64", "encode"};
      if (wrap) args.push_back("-wrap");
      Result e = Tool(args, In(bytes));
      ASSERT_EQ(e.status, 0) << Show(e);
      EXPECT_EQ(e.out, LibraryEncode(bytes, wrap));
      for (const char* mode : {"-strict", "--"}) {
        Result d = Tool({"base64", "decode", mode}, In(e.out));
        EXPECT_EQ(d.status, 0) << Show(d);
        EXPECT_TRUE(d.out == bytes);
      }
    }
    WriteAll(dir.File("in"), bytes);
    ASSERT_EQ(Tool({"base64", "encode", "-i", dir.File("in"), "-o", dir.File("b64")}).status, 0);
    ASSERT_EQ(Tool({"base64", "decode", "-i", dir.File("b64"), "-o", dir.File("back")}).status, 0);
    EXPECT_TRUE(ReadAll(dir.File("back")) == bytes);
  }
  EXPECT_EQ(Tool({"base64", "encode"}, In("\xff")).out, "!w==");
  EXPECT_EQ(Tool({"base64", "decode"}, In("TWFu\r\nTWFu\n")).out, "ManMan");
  EXPECT_EQ(Said(Tool({"base64", "decode", "-strict", "-o", dir.File("back")}, In("/w=="))),
            "1 |strict checking failure\n");
  EXPECT_TRUE(ReadAll(dir.File("back")) == AllBytes(100000));  // left as it was
  EXPECT_EQ(Tool({"base64", "decode"}, In("TWF")).err, "padding error\n");
  EXPECT_EQ(Tool({"base64", "squash"}).status, 2);
}

TEST_F(CommandsTool, CrcOfFilesAndStandardInput) {
  WriteAll(dir.File("nine"), "123456789");
  WriteAll(dir.File("empty"), "");
  EXPECT_EQ(Said(Tool({"crc", dir.File("nine"), dir.File("empty"), "-"}, In("123456789"))),
            "0 0x0376e6e7\t" + dir.File("nine") + "\n0xffffffff\t" + dir.File("empty") + "\n0x0376e6e7\t-\n|");
  Result missing = Tool({"crc", dir.File("nine"), dir.File("none")});
  EXPECT_EQ(std::to_string(missing.status) + missing.out, "1");  // not even the first file's line
  EXPECT_EQ(Tool({"crc"}).status, 2);
}

TEST_F(CommandsTool, RunRedirectsWithEverySymbol) {
  const std::string o = dir.File("o"), e = dir.File("e"), b = dir.File("b"), in = dir.File("in");
  const std::string script = "read x; echo out $x; echo err $x >&2; exit 7";
  WriteAll(in, "one\n");
  EXPECT_EQ(Said(Tool({"run", "sh", "-c", script, "<", in, ">", o, "2>", e})), "7 |");
  EXPECT_EQ(ReadAll(o) + "|" + ReadAll(e), "out one\n|err one\n");
  EXPECT_EQ(Tool({"run", "sh", "-c", script, "<", in, ">>", o, "2>>", e}).status, 7);
  EXPECT_EQ(ReadAll(o) + "|" + ReadAll(e), "out one\nout one\n|err one\nerr one\n");
  EXPECT_EQ(Tool({"run", "sh", "-c", script, "<", in, ">&", b}).status, 7);
  EXPECT_EQ(ReadAll(b), "out one\nerr one\n");
  EXPECT_EQ(Tool({"run", "sh", "-c", script, ">>&", b}, In("two\n")).status, 7);
  EXPECT_EQ(ReadAll(b), "out one\nerr one\nout two\nerr two\n");
  // No redirection: the child has the tool's own streams.
  EXPECT_EQ(Said(Tool({"run", "sh", "-c", script}, In("three\n"))), "7 out three\n|err three\n");
  EXPECT_EQ(Tool({"run", "sh", "-c", "echo gone", ">", "nul"}).out, "");
  // A symbol that is not in a trailing pair is an argument.
  EXPECT_EQ(Tool({"run", "echo", ">", "x", "y"}).out, "> x y\n");
}

TEST_F(CommandsTool, RunTimeoutEnvironmentAndFailures) {
  Result slow = Tool({"run", "-timeout", "1", "sleep", "30"});
  EXPECT_EQ(slow.status, 124);
  EXPECT_LT(slow.seconds, 5.0);
  EXPECT_EQ(Tool({"run", "-timeout", "5", "true"}).status, 0);
  Result env = Tool({"run", "-env", "VNK_A=1", "-env", "VNK_B=x=y", "sh", "-c", "echo $VNK_A $VNK_B $HOME"});
  EXPECT_EQ(env.out, "1 x=y " + std::string(getenv("HOME") ? getenv("HOME") : "") + "\n");
  EXPECT_EQ(Tool({"run", "sh", "-c", "kill -9 $$"}).status, 137);

  const std::string none = dir.File("no-such-program");
  EXPECT_EQ(Said(Tool({"run", none})), "1 |IOError:CreateProcess failed with error 2: No such file or directory (" + none + ")\n");
  EXPECT_EQ(Tool({"run", "cat", "<", dir.File("none")}).status, 1);
  for (std::vector<std::string> bad : std::vector<std::vector<std::string>>{
           {"run"}, {"run", "-timeout", "0", "true"}, {"run", "-env", "=v", "true"},
           {"run", "true", ">", "a", ">", "b"}}) {
    Result r = Tool(bad);
    EXPECT_TRUE(r.status == 2 && r.err.find("usage: vnkuti run") != std::string::npos) << Show(r);
  }
}

TEST_F(CommandsTool, ArgumentsFromAFile) {
  WriteAll(dir.File("nine"), "123456789");
  WriteAll(dir.File("args"), "crc\n  " + dir.File("nine") + "\n");
  EXPECT_EQ(Said(Tool({"-clargsfile", dir.File("args")})), "0 0x0376e6e7\t" + dir.File("nine") + "\n|");
  EXPECT_EQ(Said(Tool({"-clargsfile", dir.File("none")})),
            "1 |ERROR: Unable to open command line arguments file " + dir.File("none") + "\n");
}

TEST_F(CommandsTool, HelpVersionAndDemo) {
  for (std::vector<std::string> args : std::vector<std::vector<std::string>>{
           {"--help"}, {"help", "msf"}, {"msf", "get", "-h"}, {"run", "--help"}}) {
    Result r = Tool(args);
    EXPECT_TRUE(r.status == 0 && r.err.empty() && r.out.rfind("usage: vnkuti", 0) == 0) << Show(r);
  }
  EXPECT_EQ(Tool({"--version"}).out.compare(0, 7, "vnkuti "), 0);

  // No scratch directory configured: the demo works in the current one and
  // leaves it as it found it.
  Result demo = Tool({"demo"}, Options{.env = {"TMPDIR=", "SCRATCH="}, .cwd = dir.Path()});
  EXPECT_EQ(demo.status, 0) << Show(demo);
  for (const char* step : {"Cannot create the lock file.", "Data corrupted in section \"notes\"",
                           "<< CLASS NAME: nex_TextException", "*** Error: Write failed (utl_File:"})
    EXPECT_NE(demo.out.find(step), std::string::npos) << step;
  EXPECT_TRUE(std::filesystem::is_empty(dir.Path()));
}

}  // namespace
