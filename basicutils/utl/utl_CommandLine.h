// utl_CommandLine: the process's arguments, parsed once at start-up and read
// by name from anywhere.
//
// utl_CommandLineSetup(argc, argv) fills the one instance (a global
// singleton). An argument that begins with "-" names an option (the name is
// the argument without that "-"); the argument after it is its value unless
// it too begins with "-", so a value never begins with a minus sign
// ("-n -5" gives the options n and 5, both empty). A name given twice keeps
// the later value. Every argument is also kept in order, argv[0] first.
//
// With "-clargsfile <file>" as the first two arguments, the arguments are
// read from the file instead (whitespace-separated tokens, at most 1024
// entries counting argv[0]; a token longer than 1023 characters is cut into
// pieces of 1023). A file that cannot be read leaves the command line empty,
// with a message on the standard error stream.
//
// The option "error", a list such as trace=2,dump, sets debug levels
// (typ_DebugFlags): an item without a value means level 1; level 0 or less
// sets nothing.
//
// Threads: every member takes the command line's mutex (made on first use
// under the global lock) and drops it before returning or raising, so reads
// from several threads are safe; returned values are copies.
//
// Errors: a required option that is absent raises
// utl_MissingCmdLineArgException; a typed read of a value that is not all
// decimal digits raises utl_CmdLineArgFormatException; ConstGet(i) out of
// range ends the process as a list index error does.
#pragma once

#include <cstddef>

#include "VNKUTI_BasicExport.h"
#include "cow/cow_List.h"
#include "cow/cow_Map.h"
#include "cow/cow_String.h"
#include "mem/mem_AllocationOperators.h"
#include "nex/nex_Exception.h"
#include "thr/thr_GlobalSingleton.h"
#include "utl/utl_TypeIds.h"

// The two exceptions are persistent classes (see utl/utl_TypeIds.h).

// "Command line argument %s is required." with the option name.
class VNKUTI_BASIC_API utl_MissingCmdLineArgException : public nex_TextException {
 public:
  NEX_CONCRETE_MEMBERS(utl_MissingCmdLineArgException, utl_TypeIdOf(utl_ClassMissingCmdLineArgException))
  NEX_PERSISTENT_MEMBERS(utl_MissingCmdLineArgException)
  explicit utl_MissingCmdLineArgException(const atr_StringBase& name);
  utl_MissingCmdLineArgException(const utl_MissingCmdLineArgException&) = default;
  ~utl_MissingCmdLineArgException() override;
};

// "Command line argument %1$s must have type %2$s" with the option name and
// the type word ("integer").
class VNKUTI_BASIC_API utl_CmdLineArgFormatException : public nex_TextException {
 public:
  NEX_CONCRETE_MEMBERS(utl_CmdLineArgFormatException, utl_TypeIdOf(utl_ClassCmdLineArgFormatException))
  NEX_PERSISTENT_MEMBERS(utl_CmdLineArgFormatException)
  utl_CmdLineArgFormatException(const atr_StringBase& name, const char* typeWord);
  utl_CmdLineArgFormatException(const utl_CmdLineArgFormatException&) = default;
  ~utl_CmdLineArgFormatException() override;
};

// Parses argc / argv into the command line (see above). Meant to run once:
// a second call appends to the arguments and enters the options again.
VNKUTI_BASIC_API void utl_CommandLineSetup(int argc, char** argv);

extern "C" {
// Copies the option's value into dst without a terminator and pads it with
// blanks to width characters; returns the value's length. Returns 0 and
// leaves dst alone when the option is absent or its value is longer than
// width.
VNKUTI_BASIC_API int utl_CommandLineStringC(const char* name, char* dst, int width);
// Copies the option's value with its terminating zero into dst, which must be
// large enough; returns the length, or 0 (dst untouched) when absent.
VNKUTI_BASIC_API int utl_getArgs(const char* name, char* dst);
// For callers with fixed-length strings: the name is nameLength characters
// with blanks on either side ignored; *result receives
// utl_CommandLineStringC's answer.
VNKUTI_BASIC_API void UTL_COMMANDLINESTRING(const char* name, int nameLength, char* dst, int width, int* result);
}

class VNKUTI_BASIC_API utl_CommandLine : public mem_AllocationOperators {
 public:
  typedef cow_Map<cow_String, cow_String> Dictionary;

  // The instance (thr_GlobalSingleton<utl_CommandLine>::Instance()); empty
  // until utl_CommandLineSetup.
  static utl_CommandLine& Instance();
  // Destroys the instance and then, under the global lock, the mutex
  // (utl_finalize). A later use starts from an empty command line.
  static void Finalize();

  // ----- arguments --------------------------------------------------------
  int Size() const;                  // arguments, argv[0] included
  cow_String ConstGet(int i) const;  // argument i; out of range ends the process

  // ----- options ------------------------------------------------------------
  bool IsMember(const cow_String& name) const;
  cow_String ConstGetValue(const cow_String& name) const;  // absent: raises
  cow_String ConstGetValue(const cow_String& name, const cow_String& dflt) const;
  // Values of decimal digits only: no sign, no blank; the empty value is 0.
  // Values beyond the type's range give its largest value.
  int ConstGetValueAsInt(const cow_String& name) const;  // absent: raises
  int ConstGetValueAsInt(const cow_String& name, int dflt) const;
  std::size_t ConstGetValueAsSizeT(const cow_String& name) const;  // absent: raises
  std::size_t ConstGetValueAsSizeT(const cow_String& name, std::size_t dflt) const;
  // The value read as items "key=value" separated by ","; blanks around keys
  // and values are dropped, an item without "=" has the empty value, empty
  // items and items with an empty key are skipped. Absent: raises.
  Dictionary ConstGetValueAsDictionary(const cow_String& name) const;

 private:
  friend class thr_GlobalSingletonBase<utl_CommandLine>;
  friend void utl_CommandLineSetup(int argc, char** argv);
  friend int utl_CommandLineStringC(const char* name, char* dst, int width);
  friend int utl_getArgs(const char* name, char* dst);

  utl_CommandLine();
  ~utl_CommandLine();
  utl_CommandLine(const utl_CommandLine&) = delete;
  utl_CommandLine& operator=(const utl_CommandLine&) = delete;

  void SetArgs(int argc, char** argv);
  void SetArgsList(const cow_List<cow_String>& args);
  void ApplyErrorOption();
  // The value of a present option; raises the missing-argument exception.
  cow_String RequiredValue(const cow_String& name) const;
  // Presence and value in one look, under one hold of the mutex.
  bool FindValue(const cow_String& name, cow_String& value) const;

  Dictionary m_Options;          // name without "-" -> value ("" when none)
  cow_List<cow_String> m_Args;   // every argument, argv[0] first
};

extern template class VNKUTI_BASIC_API thr_GlobalSingletonBase<utl_CommandLine>;
extern template class VNKUTI_BASIC_API thr_GlobalSingleton<utl_CommandLine>;
