// utl_FilePath: a path as text, with the lexical operations the library
// needs (directory and name parts, joining, the trailing separator, absolute
// and normalized forms). Only Absolute() asks the system (for the current
// directory); nothing else looks at the file system (see utl_Stat for that).
//
// The separator is "/" and the root is "/" (on Windows "\" and a drive root
// such as "C:\"; docs/porting.md). A backslash is an ordinary character of a
// name here.
//
// A value type: copies share the text (cow_String). Compared by text.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "cow/cow_String.h"
#include "mem/mem_AllocationOperators.h"

class VNKUTI_BASIC_API utl_FilePath : public mem_AllocationOperators {
 public:
  // ------------------------------------------------------- construction
  utl_FilePath() = default;  // empty
  explicit utl_FilePath(const cow_String& path) : m_Path(path) {}
  // directory joined with name: an empty part gives the other unchanged, an
  // absolute name is taken as it is, otherwise one separator lies between.
  utl_FilePath(const cow_String& directory, const cow_String& name);

  // ----------------------------------------------------------- accessors
  const cow_String& Path() const { return m_Path; }
  const char* c_str() const { return m_Path.c_str(); }
  bool IsEmpty() const { return m_Path.IsEmpty(); }
  bool IsAbsolute() const;
  // Text before the last separator ("/" for "/name"); "" without one.
  cow_String Directory() const;
  // Text after the last separator; all of it without one.
  cow_String Name() const;
  // The name's last "." and what follows (".dat"); "" when the name has no
  // "." but a leading one (".profile" has no extension).
  cow_String Extension() const;

  // ----------------------------------------------------- derived paths
  // Lexical: repeated separators become one, "." parts go, ".." removes the
  // part before it (at the root it stays at the root; leading ".." of a
  // relative path are kept), no trailing separator but on the root. A
  // relative path that comes to nothing is ".".
  utl_FilePath Normalized() const;
  // Relative paths are taken from the current directory; then Normalized().
  // A relative path stays as it is when the current directory is unknown.
  utl_FilePath Absolute() const;

  // ------------------------------------------------- separator helpers
  static char Separator() { return '/'; }
  static bool IsSeparator(char c) { return c == '/'; }
  static const char* Root() { return "/"; }
  static bool HasTrailingSeparator(const cow_String& path);
  // Removes one trailing separator. The root keeps its separator: without
  // it nothing would be left to name it.
  static cow_String StripTrailingSeparator(const cow_String& path);
  // Adds a separator when the path does not end with one; "" stays "".
  static cow_String AppendSeparator(const cow_String& path);

 private:
  cow_String m_Path;
};

inline bool operator==(const utl_FilePath& a, const utl_FilePath& b) { return a.Path() == b.Path(); }
inline bool operator!=(const utl_FilePath& a, const utl_FilePath& b) { return !(a == b); }
inline bool operator<(const utl_FilePath& a, const utl_FilePath& b) { return a.Path() < b.Path(); }
