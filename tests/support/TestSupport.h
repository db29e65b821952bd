// Helpers shared by the test programs.
#pragma once

#include <string>

#include "aio/aio_ostream.h"

namespace vnktest {

// A fresh, empty directory for one test, removed with everything in it when
// the object goes.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::string& Path() const { return m_Path; }
  std::string File(const std::string& name) const { return m_Path + "/" + name; }

 private:
  std::string m_Path;
};

// Captures what the library writes to aio_cerr() while it lives.
class CaptureCerr {
 public:
  CaptureCerr() : m_Old(aio_setCerr(&m_Stream)) {}
  ~CaptureCerr() { aio_setCerr(m_Old); }
  std::string Text() const { return std::string(m_Stream.Str().c_str(), m_Stream.Str().Length()); }

 private:
  aio_stringostream m_Stream;
  aio_ostream* m_Old;
};

// The path of the running test program (for tests that start it as a child).
std::string SelfPath();

}  // namespace vnktest
