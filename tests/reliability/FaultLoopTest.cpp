// Fault injection over whole operations: the n-th system call of a kind
// fails (after it ran), for n = 1, 2, ... until the operation gets through
// without the failure being delivered. After every run: the error is the
// documented one with the system's text, no descriptor is left open, no
// staging, temporary or lock file is left, and the data file holds its old
// image or its new one. The one exception is a failure inside the final copy
// of a save, which rewrites the data file in place: the data file may then
// be torn, and the error must name the data file (see docs/reliability.md).
#include <stdlib.h>

#include <cstdio>
#include <functional>
#include <thread>

#include "plt/plt_Process.h"
#include "reliability/ReliabilityUtil.h"
#include "uti/uti_Exception.h"
#include "uti/uti_Spawn.h"
#include "utl/utl_TempFile.h"

using namespace reltest;

namespace {

struct Injection {
  plt_FaultKind kind;
  int error;
};

// Totals for docs/reliability.md.
int g_Runs = 0;
int g_TornInFinalCopy = 0;

// For each injection: runs op with the n-th call of its kind failing, n = 1,
// 2, ... until no fault is delivered, calling check(injection, fired,
// exception or null) after each run; then no descriptor may be left open.
void Walk(std::initializer_list<Injection> injections, const std::function<void()>& setup,
          const std::function<void()>& op,
          const std::function<void(const Injection&, bool fired, const nex_Exception* e)>& check) {
  for (const Injection& inj : injections) {
    for (int n = 1;; ++n) {
      SCOPED_TRACE("kind " + std::to_string(inj.kind) + " call " + std::to_string(n));
      ++g_Runs;
      setup();
      const int fds = OpenFds();
      plt_FaultArm(inj.kind, n, inj.error);
      bool fired = false;
      try {
        op();
        fired = plt_FaultFired(inj.kind);
        plt_FaultDisarm();
        check(inj, fired, nullptr);
      } catch (const nex_Exception& e) {
        fired = plt_FaultFired(inj.kind);
        plt_FaultDisarm();
        check(inj, fired, &e);
      }
      EXPECT_EQ(OpenFds(), fds);
      if (!fired || n > 5000 || ::testing::Test::HasFatalFailure()) break;
    }
  }
}

class FaultLoop : public ::testing::Test {
 protected:
  void TearDown() override {
    plt_FaultDisarm();
    std::printf("[ fault runs so far: %d, torn by a failed final copy: %d ]\n", g_Runs, g_TornInFinalCopy);
  }
  vnktest::TempDir m_Dir;
  vnktest::FaultGuard m_Guard;
  const std::string m_Path = m_Dir.File("data.sec");
  const std::string m_Lock = m_Path + ".lock";
  const std::string m_Staging = m_Path + "." + std::to_string(getpid()) + ".tmp";
  // Raised when the exclusive create ran and then reported failure: the
  // file it made is there, and every later attempt finds it. A real create
  // that fails makes nothing; only the injection does.
  const std::string m_LockFailed = "\"" + m_Path + "\": Cannot create the lock file.";
};

const Sections kOld = {{"a", std::string(3000, 'a')}, {"b", "bee"}, {"", "unnamed"}};
const Sections kNew = {{"a", "short"}, {"b", "bee"}, {"", "unnamed"}, {"n", std::string(70000, 'n')}};

void ExpectNoError(bool fired, const nex_Exception* e) {
  if (e != nullptr) ADD_FAILURE() << (fired ? "" : "(no fault delivered) ") << Str(e->AsString());
}

TEST_F(FaultLoop, OpeningAndReadingEverySection) {
  const std::string old = Image(kOld);
  const std::initializer_list<Injection> kinds = {
      {plt_FaultAny, EIO},        {plt_FaultOpen, EACCES}, {plt_FaultRead, EIO}, {plt_FaultSeek, EINVAL},
      {plt_FaultSize, EOVERFLOW}, {plt_FaultLock, EIO},    {plt_FaultClose, EIO}};
  Walk(
      kinds, [&] { WriteAll(m_Path, old); }, [&] { EXPECT_EQ(ReadSections(m_Path), kOld); },
      [&](const Injection& inj, bool fired, const nex_Exception* e) {
        if (!fired) ExpectNoError(fired, e);
        if (e && fired) {
          EXPECT_TRUE(IsFileError(*e, inj.error, {m_Path}));
        }
        EXPECT_EQ(Listing(m_Dir.Path()), std::set<std::string>{"data.sec"});
        EXPECT_EQ(ReadAll(m_Path), old);
      });
}

// A save that failed leaves the old image, or the new one when only the
// closing of the staging file failed after the copy.
TEST_F(FaultLoop, UpdatingAndSaving) {
  const std::string old = Image(kOld), fresh = Image(kNew);
  const std::initializer_list<Injection> kinds = {
      {plt_FaultAny, EIO},     {plt_FaultOpen, EACCES}, {plt_FaultRead, EIO},       {plt_FaultWrite, ENOSPC},
      {plt_FaultSeek, EINVAL}, {plt_FaultSize, EIO},    {plt_FaultTruncate, EFBIG}, {plt_FaultFlush, EIO},
      {plt_FaultLock, EIO},    {plt_FaultClose, EIO},   {plt_FaultUnlink, EBUSY}};
  Walk(
      kinds, [&] { WriteAll(m_Path, old); },
      [&] {
        utl_MultisectionFile f(C(m_Path), utl_FileUpdate);
        SectionOf(f, "b");
        f.setSectionData("a", "short", 5);
        f.setSectionData("n", kNew[3].second.data(), static_cast<int>(kNew[3].second.size()));
        f.saveChanges();
      },
      [&](const Injection& inj, bool fired, const nex_Exception* e) {
        const std::string data = ReadAll(m_Path);
        if (!fired) {
          ExpectNoError(fired, e);
          EXPECT_EQ(data, fresh);
        } else if (e != nullptr && Str(e->AsString()) == m_LockFailed) {
          EXPECT_TRUE(inj.kind == plt_FaultAny || inj.kind == plt_FaultOpen);
          EXPECT_EQ(data, old);
          EXPECT_EQ(unlink(m_Lock.c_str()), 0);
        } else if (e != nullptr) {
          EXPECT_TRUE(IsFileError(*e, inj.error, {m_Path, m_Staging}));
          // Torn: only the final copy writes to the data file (reading the
          // staging file as it goes).
          if (data != old && data != fresh) ++g_TornInFinalCopy;
        } else {
          // Delivered and absorbed (a retried lock attempt, an ignored
          // delete): the save went through.
          EXPECT_EQ(data, fresh);
        }
        EXPECT_EQ(Listing(m_Dir.Path()), std::set<std::string>{"data.sec"});
      });
}

TEST_F(FaultLoop, WritingANewFile) {
  const std::string fresh = Image(kNew);
  const std::initializer_list<Injection> kinds = {
      {plt_FaultAny, EIO}, {plt_FaultWrite, ENOSPC}, {plt_FaultOpen, EMFILE}};
  Walk(
      kinds, [&] { unlink(m_Path.c_str()); },
      [&] {
        utl_MultisectionFile f(C(m_Path), utl_FileWrite);
        for (const auto& [name, bytes] : kNew) f.setSectionData(C(name), bytes.data(), static_cast<int>(bytes.size()));
        f.saveChanges();
      },
      [&](const Injection& inj, bool fired, const nex_Exception* e) {
        std::set<std::string> files = Listing(m_Dir.Path());
        if (e && Str(e->AsString()) == m_LockFailed) {
          EXPECT_EQ(unlink(m_Lock.c_str()), 0);  // made by the injected create, as above
          files.erase("data.sec.lock");
        } else if (e && fired) {
          EXPECT_TRUE(IsFileError(*e, inj.error, {m_Path, m_Staging}));
          // The data file is created by the final copy: absent before it.
          if (files.count("data.sec") && ReadAll(m_Path) != fresh) ++g_TornInFinalCopy;
        } else {
          ExpectNoError(fired, e);
          EXPECT_EQ(ReadAll(m_Path), fresh);
        }
        files.erase("data.sec");
        EXPECT_TRUE(files.empty()) << *files.begin();
      });
}

TEST_F(FaultLoop, TemporaryFileCreateAndOpen) {
  const char* oldScratch = getenv("SCRATCH");
  const std::string saved = oldScratch ? oldScratch : "";
  setenv("SCRATCH", m_Dir.Path().c_str(), 1);
  const std::string prefix = "*** ERROR: Can't create temporary file: " + m_Dir.Path() + "/VnkTempFile";
  const std::initializer_list<Injection> kinds = {{plt_FaultAny, EIO},      {plt_FaultOpen, EMFILE},
                                                  {plt_FaultStat, EIO},     {plt_FaultClose, EIO},
                                                  {plt_FaultUnlink, EBUSY}, {plt_FaultWrite, ENOSPC}};
  Walk(
      kinds, [] {},
      [&] {
        utl_TempFile t("dat");
        t.Create();
        ASSERT_EQ(write(t.Descriptor(), "abc", 3), 3);
        t.Close();
        t.Open();
        EXPECT_TRUE(t.OpenIfPresent());
        t.Close();
      },
      [&](const Injection& inj, bool fired, const nex_Exception* e) {
        if (e) {
          const std::string text = Str(e->AsString());
          const std::string tail = ".dat, system error: " + Text(inj.error);
          const bool open = e->DynTypeId() == utl_TempFileOpenExc::TypeId() &&
                            text.compare(0, prefix.size(), prefix) == 0 && text.size() > tail.size() &&
                            text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
          const bool cant = e->DynTypeId() == utl_TempFileCantExc::TypeId() &&
                            text == "*** ERROR: Can't create unique temporary file name.";
          EXPECT_TRUE(fired && (open || cant)) << text;
        }
        EXPECT_TRUE(Listing(m_Dir.Path()).empty());
      });
  if (oldScratch)
    setenv("SCRATCH", saved.c_str(), 1);
  else
    unsetenv("SCRATCH");
}

struct Spawner : uti_Spawn {
  using uti_Spawn::spawn;
};

// Children of this process, zombies included.
int ChildCount() {
  int n = 0;
  for (const std::string& pid : Listing("/proc")) {
    std::string stat = ReadAll("/proc/" + pid + "/stat");
    std::size_t close = stat.rfind(')');
    int ppid = 0;
    if (close != std::string::npos && std::sscanf(stat.c_str() + close + 2, "%*c %d", &ppid) == 1 && ppid == getpid())
      ++n;
  }
  return n;
}

TEST_F(FaultLoop, SpawningWithRedirections) {
  const std::string in = m_Dir.File("in.txt"), out = m_Dir.File("out.txt"), err = m_Dir.File("err.txt");
  const std::initializer_list<Injection> kinds = {{plt_FaultAny, EIO},
                                                  {plt_FaultSpawn, EAGAIN},
                                                  {plt_FaultOpen, EMFILE},
                                                  {plt_FaultSize, EBADF},
                                                  {plt_FaultClose, EIO}};
  Walk(
      kinds,
      [&] {
        WriteAll(in, "through cat\n");
        unlink(out.c_str());
      },
      [&] {
        Spawner s;
        uti_Redirection r("<", C(in), ">", C(out), "2>", C(err));
        s.spawn("/bin/cat", utl_FilePath(), cow_List<cow_String>(), r, uti_Environment(), 1);
        EXPECT_EQ(s.Reap(0), 0);
        EXPECT_EQ(ReadAll(out), "through cat\n");
      },
      [&](const Injection& inj, bool fired, const nex_Exception* e) {
        if (e) {
          const auto* io = dynamic_cast<const uti_IOErrorException*>(e);
          ASSERT_TRUE(io != nullptr) << Str(e->AsString());
          const std::string f = Str(io->Function());
          EXPECT_TRUE(f == "open" || f == "CreateProcess" || f == "GetExitCodeProcess" || f == "fstat") << f;
          EXPECT_EQ(io->ErrorNo(), inj.error) << f;
          EXPECT_TRUE(fired);
        }
        // Whatever was started ends and is reaped; nothing stays open.
        for (int i = 0; i < 500 && (ChildCount() > 0 || plt_ProcessReapOrphans() > 0); ++i)
          std::this_thread::sleep_for(std::chrono::milliseconds(10));
        EXPECT_EQ(ChildCount(), 0);
      });
}

}  // namespace
