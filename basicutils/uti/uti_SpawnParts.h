// The portable parts of a spawn, which uti_Spawn puts together and the
// platform layer only carries out: the command line, its splitting into an
// argument vector, the environment block and the program search.
//
// The command line is built exactly as on Windows, and on POSIX it is split
// back by the Windows C run time's rules, so that a child started on either
// platform sees the same argv.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "cow/cow_List.h"
#include "cow/cow_Map.h"
#include "cow/cow_String.h"

// A word wrapped in one double quote on each side when it holds a blank or a
// tab; otherwise the word as it is. Quotes and backslashes inside are not
// escaped.
VNKUTI_BASIC_API cow_String uti_QuoteWord(const cow_String& word);

// The quoted command, then for each argument a blank and the quoted argument.
VNKUTI_BASIC_API cow_String uti_BuildCommandLine(const cow_String& command, const cow_List<cow_String>& args);

// The argument vector the Windows C run time makes of a command line (up to
// its first NUL):
// - argv[0], the program name, runs to the first blank or tab outside double
//   quotes; the quotes are dropped and backslashes are ordinary.
// - Every further argument is separated by blanks and tabs outside quotes.
//   2n backslashes before a double quote give n backslashes and the quote
//   opens or closes quoting; 2n + 1 give n backslashes and a literal quote;
//   backslashes before anything else stay as they are. Inside quotes, "" is
//   one literal quote and quoting goes on.
// An empty line gives an empty list.
VNKUTI_BASIC_API cow_List<cow_String> uti_SplitCommandLine(const atr_StringBase& line);

// The environment block: for each entry in sorted key order, key "=" value
// and a NUL, then one more NUL, in a buffer of 1 + the sum of (key length +
// value length + 2) bytes allocated with mem_Malloc (free it with mem_Free);
// *size receives that size. Null (and *size 0) for an empty map: the child
// then inherits the caller's environment.
VNKUTI_BASIC_API char* uti_NewEnvironmentBlock(const cow_Map<cow_String, cow_String>& env, int* size);

// The file a command line's program name runs, found as Windows'
// CreateProcess finds it (without its ".exe" rule): a name with a directory
// separator is used as it is; any other name is looked for in the running
// program's directory, then in the current directory, then in each
// directory of PATH. The first file (not a directory) of that name is the
// one: answers 0 and sets *path; ENOENT when there is none or the name is
// empty; EACCES when the file found may not be run.
VNKUTI_BASIC_API int uti_LocateProgram(const cow_String& name, cow_String* path);
