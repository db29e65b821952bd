// The portable parts of a spawn: command line, argv splitting, environment
// block, program search. Nothing here calls the system but through plt/ and
// utl_Stat.
#include "uti/uti_SpawnParts.h"

#include <cstring>

#include "mem/mem_Alloc.h"
#include "plt/plt_FileSystem.h"
#include "plt/plt_Process.h"
#include "utl/utl_FilePath.h"
#include "utl/utl_Stat.h"

#include <cerrno>

namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

}  // namespace

// ============================================================ command line

cow_String uti_QuoteWord(const cow_String& word) {
  if (word.Find(' ') < 0 && word.Find('\t') < 0) return word;
  cow_String quoted;
  quoted.Reserve(word.Length() + 2);
  quoted.append('"');
  quoted.append(word);
  quoted.append('"');
  return quoted;
}

cow_String uti_BuildCommandLine(const cow_String& command, const cow_List<cow_String>& args) {
  cow_String line = uti_QuoteWord(command);
  for (int i = 0; i < args.Count(); ++i) {
    line.append(' ');
    line.append(uti_QuoteWord(args.ConstGet(i)));
  }
  return line;
}

cow_List<cow_String> uti_SplitCommandLine(const atr_StringBase& line) {
  cow_List<cow_String> argv;
  const char* p = line.c_str();
  if (*p == 0) return argv;

  // The program name: quotes switch quoting and are dropped; no escapes.
  cow_String name;
  bool inQuotes = false;
  for (; *p != 0 && (inQuotes || !IsBlank(*p)); ++p) {
    if (*p == '"')
      inQuotes = !inQuotes;
    else
      name.append(*p);
  }
  argv.Append(name);

  inQuotes = false;
  for (;;) {
    while (IsBlank(*p)) ++p;
    if (*p == 0) break;
    cow_String arg;
    for (;;) {
      int backslashes = 0;
      while (*p == '\\') {
        ++p;
        ++backslashes;
      }
      bool copy = true;
      if (*p == '"') {
        if (backslashes % 2 == 0) {
          if (inQuotes && p[1] == '"') {
            ++p;  // "" inside quotes: one literal quote, quoting goes on
          } else {
            copy = false;
            inQuotes = !inQuotes;
          }
        }
        backslashes /= 2;
      }
      for (; backslashes > 0; --backslashes) arg.append('\\');
      if (*p == 0 || (!inQuotes && IsBlank(*p))) break;
      if (copy) arg.append(*p);
      ++p;
    }
    argv.Append(arg);
  }
  return argv;
}

// ====================================================== environment block

char* uti_NewEnvironmentBlock(const cow_Map<cow_String, cow_String>& env, int* size) {
  *size = 0;
  if (env.IsEmpty()) return nullptr;
  int total = 1;
  for (cow_ConstMapSortedIt<cow_String, cow_String> it(env); it.More(); it.Next())
    total += it.Key().Length() + it.Value().Length() + 2;
  char* block = static_cast<char*>(mem_OperatorNewThrow(static_cast<size_t>(total)));
  char* w = block;
  for (cow_ConstMapSortedIt<cow_String, cow_String> it(env); it.More(); it.Next()) {
    std::memcpy(w, it.Key().c_str(), static_cast<size_t>(it.Key().Length()));
    w += it.Key().Length();
    *w++ = '=';
    std::memcpy(w, it.Value().c_str(), static_cast<size_t>(it.Value().Length()));
    w += it.Value().Length();
    *w++ = 0;
  }
  *w = 0;
  *size = total;
  return block;
}

// ========================================================= program search

int uti_LocateProgram(const cow_String& name, cow_String* path) {
  if (name.IsEmpty()) return ENOENT;
  if (name.Find(utl_FilePath::Separator()) >= 0) {
    // A directory is named: the system resolves it from the current
    // directory and reports what it finds there.
    *path = name;
    return 0;
  }
  cow_List<cow_String> dirs;
  atr_String appDir = plt_ProcessApplicationDirectory();
  if (!appDir.IsEmpty()) dirs.Append(appDir);
  dirs.Append(cow_String("."));
  atr_String pathVar;
  if (plt_GetEnv("PATH", &pathVar)) {
    const char sep = plt_PathListSeparator();
    const char* s = pathVar.c_str();
    const int n = pathVar.Length();
    for (int i = 0; i <= n;) {
      int start = i;
      while (i < n && s[i] != sep) ++i;
      if (i > start) dirs.Append(cow_String(pathVar.Substr(start, i - start)));
      ++i;
    }
  }
  for (int i = 0; i < dirs.Count(); ++i) {
    utl_FilePath candidate(dirs.ConstGet(i), name);
    utl_Stat st(candidate.Path());
    if (!st.Exists() || st.IsDirectory()) continue;
    if (!st.IsExecutable()) return EACCES;
    *path = candidate.Path();
    return 0;
  }
  return ENOENT;
}
