// Eight processes update one multisection file for VNKUTI_CONTENTION_SECONDS
// (default 10), each retrying when the writer lock is refused, while a
// ninth reads without the lock. Every writer checks every section under the
// lock; at the end every update that reported success is in the file, the
// shared counter equals their number, and no lock or staging file is left.
// The reader's torn reads are counted, not failed: readers are not excluded
// while a writer rewrites the file (docs/reliability.md).
#include <signal.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <sstream>
#include <thread>

#include "reliability/ReliabilityUtil.h"

using namespace reltest;

namespace {

constexpr int kWriters = 8;
const char kLockText[] = "Cannot create the lock file.";

std::string Get(utl_MultisectionFile& f, const std::string& name) {
  return f.hasSection(C(name)) ? SectionOf(f, C(name)) : "";
}

struct Tally {
  long updates = 0, refusals = 0, busy = 0, torn = 0, errors = 0, reads = 0, mixed = 0;
  std::string firstError;
};

// One writer: read everything, append the next number to its own section,
// add one to the counter, save; a refused lock is tried again.
Tally Writer(const std::string& path, int k, std::chrono::steady_clock::time_point end) {
  Tally t;
  // The lock goes before the data file is closed (the object releases the
  // lock, then closes the file): a writer that takes the lock in between
  // finds the file still open for writing, a sharing violation. Retried as
  // a refusal is.
  const std::string busy = "*** Error: File open failed (utl_File: CreateFile in OpenUpdate)\nerror: " +
                           std::string(std::strerror(EBUSY)) + "\nfile: " + path;
  std::mt19937 rng(k);
  const std::string mine = "p" + std::to_string(k);
  while (std::chrono::steady_clock::now() < end) {
    try {
      utl_MultisectionFile f(C(path), utl_FileUpdate);
      for (int i = 0; i < f.SectionCount(); ++i) {
        try {
          Get(f, Str(f.SectionName(i)));
        } catch (const nex_TextException&) {
          ++t.torn;
        }
      }
      std::string list = Get(f, mine);
      const std::uint32_t next = static_cast<std::uint32_t>(list.size() / 4 + 1);
      list += U32(next);
      const long counter = std::atol(Get(f, "counter").c_str()) + 1;
      const std::string c = std::to_string(counter);
      f.setSectionData(C(mine), list.data(), static_cast<int>(list.size()));
      f.setSectionData("counter", c.data(), static_cast<int>(c.size()));
      f.saveChanges();
      ++t.updates;
    } catch (const nex_Exception& e) {
      const std::string text = Str(e.AsString());
      if (text.size() > sizeof kLockText && text.compare(text.size() - (sizeof kLockText - 1), std::string::npos, kLockText) == 0) {
        ++t.refusals;
        std::this_thread::sleep_for(std::chrono::microseconds(rng() % 2000));
        continue;
      }
      if (text == busy) {
        ++t.busy;
        continue;
      }
      if (t.errors++ == 0) {
        t.firstError = text;
        for (char& ch : t.firstError)
          if (ch == '\n') ch = '|';
      }
    }
  }
  return t;
}

// Reads without the lock. A read that checks must also be one version of
// the file: each update adds one number to one writer's list and one to the
// counter, so the counter equals the numbers in all lists; a mix of two
// versions whose sections each check would break that.
Tally Reader(const std::string& path, std::chrono::steady_clock::time_point end) {
  Tally t;
  while (std::chrono::steady_clock::now() < end) {
    ++t.reads;
    Sections s;
    if (!ReadThrough(path, &s).empty()) {
      ++t.torn;
      continue;
    }
    long counter = -1, numbers = 0;
    for (const auto& [name, bytes] : s) {
      if (name == "counter") counter = std::atol(bytes.c_str());
      else numbers += static_cast<long>(bytes.size() / 4);
    }
    if (counter != numbers) ++t.mixed;
  }
  return t;
}

std::string Encode(const Tally& t) {
  std::ostringstream s;
  s << t.updates << ' ' << t.refusals << ' ' << t.busy << ' ' << t.torn << ' ' << t.errors << ' ' << t.reads << ' '
    << t.mixed << ' ' << t.firstError;
  return s.str();
}

Tally Decode(const std::string& text) {
  Tally t;
  std::istringstream s(text);
  s >> t.updates >> t.refusals >> t.busy >> t.torn >> t.errors >> t.reads >> t.mixed;
  std::getline(s, t.firstError);
  return t;
}

TEST(Contention, EightWritersAndAReader) {
  const char* env = getenv("VNKUTI_CONTENTION_SECONDS");
  const double seconds = env && *env ? atof(env) : 10.0;
  FastDir dir;
  const std::string path = dir.Path() + "/data.sec";
  WriteAll(path, Image({{"counter", "0"}}));

  const auto end = std::chrono::steady_clock::now() + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                                           std::chrono::duration<double>(seconds));
  std::vector<vnktest::Child*> children;
  for (int k = 0; k < kWriters; ++k)
    children.push_back(new vnktest::Child([&, k] { return Encode(Writer(path, k, end)); }));
  vnktest::Child reader([&] { return Encode(Reader(path, end)); });

  std::vector<Tally> tallies;
  long updates = 0, refusals = 0, busy = 0;
  for (vnktest::Child* c : children) {
    tallies.push_back(Decode(c->Finish()));
    delete c;
    const Tally& t = tallies.back();
    EXPECT_EQ(t.torn, 0) << "a writer saw a damaged section under the lock";
    EXPECT_EQ(t.errors, 0) << t.firstError;
    EXPECT_GT(t.updates, 0);
    updates += t.updates;
    refusals += t.refusals;
    busy += t.busy;
  }
  const Tally r = Decode(reader.Finish());

  // Every update that succeeded is there, in order; none was lost to another.
  utl_MultisectionFile f(C(path), utl_FileRead);
  EXPECT_EQ(Get(f, "counter"), std::to_string(updates));
  for (int k = 0; k < kWriters; ++k) {
    std::string expected;
    for (long i = 1; i <= tallies[k].updates; ++i) expected += U32(static_cast<std::uint32_t>(i));
    EXPECT_EQ(Get(f, "p" + std::to_string(k)), expected) << "writer " << k;
  }
  EXPECT_EQ(Listing(dir.Path()), std::set<std::string>{"data.sec"});
  std::printf(
      "[ %.0f s, %d writers: %ld updates, %ld refused lock attempts, %ld opens refused by the closing writer; reader: "
      "%ld reads, %ld failed a check, %ld checked but mixed two versions ]\n",
      seconds, kWriters, updates, refusals, busy, r.reads, r.torn, r.mixed);
}

}  // namespace
