// uti_Redirection: where a child's three standard streams go.
//
// Three Redirector records, indexed 0 = standard input, 1 = standard output,
// 2 = standard error. A record names a C run-time descriptor (-1 = none) or a
// file to open when the child is started (empty = none), and whether that
// file is appended to. A record with neither is undefined: the child gets the
// caller's own stream.
//
// The symbols, and what each sets:
//   "<"   stream 0        ">>"  stream 1, appending   ">&"  stream 1, and
//   ">"   stream 1        "2>>" stream 2, appending         stream 2 to where
//   "2>"  stream 2                                          stream 1 goes
//                                                     ">>&" the same, appending
// No symbol names a descriptor number on its right side; a descriptor target
// is given as a Handle. A stream may be redirected once: a second time raises
// nex_TextException "Stream stdout has already redirected." (stdin, stderr).
// An unknown symbol raises "Unrecognized redirector symbol"; a descriptor
// target that is not open raises uti_IOErrorException "fstat".
//
// The device name "nul" (NullDevice()) stands for the platform's null device.
//
// Ownership: the redirection owns the descriptors of 3 and above that it
// holds: the destructor closes them, and a spawn uses them up (closes them
// and resets every descriptor to -1, whatever the outcome). File names stay,
// so a second spawn would open those files again. A redirection is meant for
// one spawn; copying is not allowed.
//
// The symbol table is built on first use and held by a global singleton,
// which the thread-singleton registry releases at destruct level 16 and
// uti_finalize releases at the latest. Nothing here takes a lock: one
// redirection is used by one thread at a time.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "cow/cow_List.h"
#include "cow/cow_String.h"
#include "mem/mem_AllocationOperators.h"

class utl_FilePath;

// Text that lives as long as the program (a literal), as NullDevice()
// returns it.
class VNKUTI_BASIC_API omn_FixedString {
 public:
  constexpr explicit omn_FixedString(const char* text) : m_Text(text) {}
  const char* c_str() const { return m_Text; }

 private:
  const char* m_Text;
};

class VNKUTI_BASIC_API uti_Redirection : public mem_AllocationOperators {
 public:
  // ----------------------------------------------------------- records
  struct VNKUTI_BASIC_API Redirector {
    int m_Fd = -1;          // C run-time descriptor; -1 = none
    cow_String m_FileName;  // file to open at spawn time; empty = none
    bool m_Append = false;  // append instead of truncating
    bool isUndefined() const { return m_Fd == -1 && m_FileName.IsEmpty(); }
  };

  // The target of one redirection: a descriptor or a file name.
  class VNKUTI_BASIC_API Handle {
   public:
    Handle() = default;
    Handle(int fd) : m_Fd(fd) {}  // NOLINT: a descriptor is a target
    Handle(const char* fileName) : m_FileName(fileName) {}
    Handle(const cow_String& fileName) : m_FileName(fileName) {}
    Handle(const utl_FilePath& path);
    Handle(const omn_FixedString& name) : m_FileName(name.c_str()) {}
    int Fd() const { return m_Fd; }
    const cow_String& FileName() const { return m_FileName; }

   private:
    int m_Fd = -1;
    cow_String m_FileName;
  };

  // ------------------------------------------------------ constructors
  uti_Redirection() = default;  // three undefined records
  // Each (symbol, target) pair is applied with Redirect, left to right.
  uti_Redirection(const cow_String& symbol, const Handle& target);
  uti_Redirection(const cow_String& symbol1, const Handle& target1, const cow_String& symbol2,
                  const Handle& target2);
  uti_Redirection(const cow_String& symbol1, const Handle& target1, const cow_String& symbol2,
                  const Handle& target2, const cow_String& symbol3, const Handle& target3);
  // The words of text (split at blanks and tabs), as the list form.
  explicit uti_Redirection(const cow_String& text);
  // Words 0, 2, 4 are symbols, words 1, 3, 5 file names. More than six words
  // raise nex_TextException "Two many redirection arguments", an odd number
  // "Redirection arguments must be paired" (the count is tested first).
  explicit uti_Redirection(const cow_List<cow_String>& words);
  // Closes every descriptor of 3 and above that a record still holds.
  ~uti_Redirection();
  uti_Redirection(const uti_Redirection&) = delete;
  uti_Redirection& operator=(const uti_Redirection&) = delete;

  // ---------------------------------------------------------- mutators
  // Sends the symbol's stream to target (see the table above); ">&" and
  // ">>&" also send standard error, without append, to descriptor 1.
  void Redirect(const cow_String& symbol, const Handle& target);
  // Sends every stream still undefined, without append, to NullDevice().
  void Nullify();

  // ---------------------------------------------------------- accessors
  static omn_FixedString NullDevice() { return omn_FixedString("nul"); }
  static bool IsSymbol(const cow_String& word);
  // The record of stream 0, 1 or 2.
  const Redirector& ConstGetRedirector(int stream) const { return m_Records[stream]; }

 private:
  friend class uti_Spawn;
  // Raises "Stream %s has already redirected." when the stream is defined.
  void setRedirector(int stream, bool append, const Handle& target);
  Redirector& getRedirector(int stream) { return m_Records[stream]; }
  void ApplyWords(const cow_List<cow_String>& words);

  Redirector m_Records[3];
};
