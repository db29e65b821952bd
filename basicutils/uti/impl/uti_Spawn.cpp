// uti_Spawn: starting, reaping, detaching and killing one child; the
// one-string forms and the waits over several children.
#include "uti/uti_Spawn.h"

#include <cerrno>
#include <cstring>

#include "mem/mem_Alloc.h"
#include "plt/plt_Error.h"
#include "plt/plt_File.h"
#include "plt/plt_FileSystem.h"
#include "plt/plt_Process.h"
#include "pnt/pnt_PrettyPrint.h"
#include "typ/typ_DebugFlags.h"
#include "uti/uti_Exception.h"
#include "uti/uti_SpawnParts.h"
#include "utl/utl_Stat.h"

#define NEX_SOURCE "uti/impl/uti_Spawn"

namespace {

constexpr int kSpawnFlag = 2;    // the debug facility of the spawn log
constexpr int kDetached = 86;    // the exit code a detached child reports
constexpr int kMaxDirectory = 260;

int LogLevel() { return typ_DebugFlags::GetLevel(kSpawnFlag); }

bool IsNullDevice(const cow_String& name) {
  const char* s = name.c_str();
  return name.Length() == 3 && (s[0] | 0x20) == 'n' && (s[1] | 0x20) == 'u' && (s[2] | 0x20) == 'l';
}

// Step 6 of a spawn, run whatever the outcome: the redirection's descriptors
// are closed (3 and above) and reset.
struct UseUp {
  uti_Redirection::Redirector* m_Records;
  ~UseUp() {
    for (int i = 0; i < 3; ++i) {
      int& fd = m_Records[i].m_Fd;
      if (fd <= 0) continue;
      if (fd >= 3) plt_DescriptorClose(fd);
      fd = -1;
    }
  }
};

// A mem_Malloc'd buffer freed on every path.
struct Buffer {
  void* m_Data = nullptr;
  ~Buffer() { mem_Free(m_Data); }
};

void LogEnvironment(const char* block) {
  pnt_PrettyPrint& out = pnt_debugPrint();
  if (block != nullptr) {
    for (const char* s = block; *s != 0; s += std::strlen(s) + 1) {
      out << "              env: " << s;
      out.NewLine();
    }
    return;
  }
  for (const char* const* e = plt_ProcessEnvironment(); *e != nullptr; ++e) {
    out << "              env: " << *e;
    out.NewLine();
  }
}

}  // namespace

// =========================================================== parser

uti_Spawn::Parser::Parser(const cow_String&) : m_Path(cow_String("."), cow_String()) {}

// ========================================================= lifetime

uti_Spawn::~uti_Spawn() { CloseHandle(); }

void uti_Spawn::CloseHandle() {
  // A child still running is handed to the platform, which reaps it later.
  plt_ProcessClose(m_Process);
  m_Process = nullptr;
}

int uti_Spawn::ProcessId() const { return m_Process != nullptr ? plt_ProcessId(m_Process) : -1; }

// =========================================================== spawn

void uti_Spawn::spawn(const cow_String& command, const utl_FilePath&, const cow_List<cow_String>& args,
                      uti_Redirection& redirection, const uti_Environment& env, int mode) {
  if (m_Process != nullptr) CloseHandle();
  m_Running = false;
  m_ExitCode = -1;
  UseUp useUp{redirection.m_Records};
  const int level = LogLevel();

  // 1. Files named by the redirection.
  for (int i = 0; i < 3; ++i) {
    uti_Redirection::Redirector& r = redirection.getRedirector(i);
    if (r.m_FileName.IsEmpty() || r.m_Fd != -1) continue;
    const char* path = IsNullDevice(r.m_FileName) ? plt_NullDevicePath() : r.m_FileName.c_str();
    int fd = plt_RedirectOpen(path, i, r.m_Append);
    if (fd < 0) NEX_THROW(uti_IOErrorException("open", plt_LastError(), r.m_FileName));
    r.m_Fd = fd;
  }

  // 2, 3. The descriptors the child gets: a record of 0 or less leaves the
  // caller's own stream; 1 or 2 takes what that stream was given already
  // (">&"); 3 and above is the descriptor itself.
  int chosen[3] = {0, 1, 2};
  for (int i = 0; i < 3; ++i) {
    const int d = redirection.getRedirector(i).m_Fd;
    chosen[i] = d <= 0 ? i : d <= 2 ? chosen[d] : d;
    if (level >= 2) {
      pnt_debugPrint() << "uti_Spawn: redirecting standard handle " << i << " on handle " << d << " to handle "
                       << chosen[i];
      pnt_debugPrint().NewLine();
    }
  }

  // The command line, and the argv the child's run time would make of it.
  const cow_String line = uti_BuildCommandLine(command, args);
  const cow_List<cow_String> argv = uti_SplitCommandLine(line);
  Buffer argvPtrs;
  argvPtrs.m_Data = mem_OperatorNewThrow(sizeof(const char*) * static_cast<size_t>(argv.Count() + 1));
  auto** av = static_cast<const char**>(argvPtrs.m_Data);
  for (int i = 0; i < argv.Count(); ++i) av[i] = argv.ConstGet(i).c_str();
  av[argv.Count()] = nullptr;

  Buffer block;
  int blockSize = 0;
  block.m_Data = uti_NewEnvironmentBlock(env, &blockSize);
  atr_String directory;
  if (block.m_Data != nullptr) {
    directory = plt_CurrentDirectory();
    if (directory.Length() > kMaxDirectory) directory = atr_String();
  }

  // 4. The log.
  if (level >= 1) {
    pnt_debugPrint() << "uti_Spawn - spawning: " << line;
    pnt_debugPrint().NewLine();
  }
  if (level >= 2) {
    for (int i = 0; i < args.Count(); ++i) {
      pnt_debugPrint() << "              argument " << i << ": " << args.ConstGet(i);
      pnt_debugPrint().NewLine();
    }
  }
  if (level >= 3) LogEnvironment(static_cast<const char*>(block.m_Data));

  // 5. Start it.
  cow_String program;
  int error = argv.IsEmpty() ? ENOENT : uti_LocateProgram(argv.ConstGet(0), &program);
  plt_Process* p = nullptr;
  if (error == 0) {
    plt_SpawnRequest request;
    request.path = program.c_str();
    request.argv = av;
    request.environment = static_cast<const char*>(block.m_Data);
    request.directory = directory.IsEmpty() ? nullptr : directory.c_str();
    for (int i = 0; i < 3; ++i) request.descriptors[i] = chosen[i];
    request.newSession = mode < 0;
    p = plt_ProcessSpawn(request);
    if (p == nullptr) error = plt_LastError();
  }
  // 7. (step 6 is useUp's)
  if (p == nullptr) NEX_THROW(uti_IOErrorException("CreateProcess", error, line));
  m_Process = p;
  m_Running = true;
}

// ========================================================= waiting

int uti_Spawn::Reap(int seconds) {
  if (!m_Running) return m_ExitCode;
  int status = plt_ProcessStillActive;
  if (seconds >= 0) {
    const long long limit = seconds == 0 ? -1 : 1000LL * seconds;
    for (;;) {
      const bool ended = plt_ProcessWait(m_Process, limit);
      if (!plt_ProcessExitCode(m_Process, &status))
        NEX_THROW(uti_IOErrorException("GetExitCodeProcess", plt_LastError()));
      if (status != plt_ProcessStillActive || !ended) break;
    }
  } else if (!plt_ProcessExitCode(m_Process, &status)) {
    NEX_THROW(uti_IOErrorException("GetExitCodeProcess", plt_LastError()));
  }
  if (status != plt_ProcessStillActive) {
    m_ExitCode = status;
    m_Running = false;
  }
  if (!m_Running) CloseHandle();
  return m_ExitCode;
}

bool uti_Spawn::IsRunning() {
  // Not the virtual Reap: the pipe classes ask IsRunning from theirs.
  uti_Spawn::Reap(-1);
  return m_Running;
}

void uti_Spawn::Detach() {
  if (!m_Running) return;
  if (m_ExitCode != -1) Reap(0);
  m_Running = false;
  m_ExitCode = kDetached;
}

int uti_Spawn::Kill() {
  if (m_Process == nullptr) return -1;
  return plt_ProcessKill(m_Process) ? 0 : -1;
}

int uti_Spawn::Interrupt() { return Kill(); }

// ================================================== temporary objects

int uti_Spawn::AndWait(const cow_String& command, const utl_FilePath& program, const cow_List<cow_String>& args,
                       uti_Redirection& redirection, const uti_Environment& env) {
  uti_Spawn s;
  s.spawn(command, program, args, redirection, env, 1);
  return s.Reap(0);
}

void uti_Spawn::AndExit(const cow_String& command, const utl_FilePath& program, const cow_List<cow_String>& args,
                        uti_Redirection& redirection, const uti_Environment& env) {
  uti_Spawn s;
  s.spawn(command, program, args, redirection, env, 0);
}

void uti_Spawn::Daemon(const cow_String& command, const utl_FilePath& program, const cow_List<cow_String>& args,
                       uti_Redirection& redirection, const uti_Environment& env) {
  redirection.Nullify();
  uti_Spawn s;
  s.spawn(command, program, args, redirection, env, -1);
  s.Detach();
}

int uti_Spawn::AndWait(cow_String command, const uti_Environment& env) {
  Parser p(command);
  return AndWait(p.m_Command, p.m_Path, p.m_Args, p.m_Redirection, env);
}

void uti_Spawn::AndExit(cow_String command, const uti_Environment& env) {
  Parser p(command);
  AndExit(p.m_Command, p.m_Path, p.m_Args, p.m_Redirection, env);
}

void uti_Spawn::Daemon(cow_String command, const uti_Environment& env) {
  Parser p(command);
  Daemon(p.m_Command, p.m_Path, p.m_Args, p.m_Redirection, env);
}

// =================================================== several at once

uti_Spawn* uti_Spawn::waitForAny(uti_Spawn* const* list, int count) {
  for (int i = 0; i < count; ++i)
    if (!list[i]->IsRunning()) return list[i];
  if (count < 1) return nullptr;
  Buffer handles;
  handles.m_Data = mem_OperatorNewThrow(sizeof(plt_Process*) * static_cast<size_t>(count));
  auto** h = static_cast<plt_Process**>(handles.m_Data);
  for (int i = 0; i < count; ++i) h[i] = list[i]->m_Process;
  int which;
  while ((which = plt_ProcessWaitAny(h, count, -1)) < 0) {
    // The wait itself failed: look at each child, and pause before the next
    // attempt when none has ended.
    for (int i = 0; i < count && which < 0; ++i) {
      int status;
      if (!plt_ProcessExitCode(h[i], &status))
        NEX_THROW(uti_IOErrorException("GetExitCodeProcess", plt_LastError()));
      if (status != plt_ProcessStillActive) which = i;
    }
    if (which >= 0) break;
    plt_ProcessWait(h[0], 10);
  }
  uti_Spawn* s = list[which];
  int status;
  if (!plt_ProcessExitCode(s->m_Process, &status))
    NEX_THROW(uti_IOErrorException("GetExitCodeProcess", plt_LastError()));
  s->m_ExitCode = status;
  return s;
}

int uti_Spawn::waitForAll(uti_Spawn* const* list, int count, int seconds) {
  const long long start = plt_ProcessClockSeconds();
  if (count < 1) return count;
  int running = count;
  for (int i = 0; i < count; ++i) {
    const long long remaining = seconds - (plt_ProcessClockSeconds() - start);
    const int code = list[i]->Reap(remaining >= 1 ? static_cast<int>(remaining) : -1);
    if (LogLevel() >= 1) {
      pnt_debugPrint() << "uti_Spawn::waitForAll reaped process #" << i << " with exit code" << code;
      pnt_debugPrint().NewLine();
    }
    if (!list[i]->m_Running) --running;
  }
  return running;
}

// ======================================================== environment

uti_Environment uti_Spawn::getEnvironment() {
  uti_Environment env;
  for (const char* const* e = plt_ProcessEnvironment(); *e != nullptr; ++e) {
    const char* s = *e;
    const char* eq = std::strchr(s, '=');
    if (eq == nullptr)
      env.Insert(cow_String(s), cow_String());
    else
      env.Insert(cow_String(s, static_cast<int>(eq - s)), cow_String(eq + 1));
  }
  return env;
}

// ========================================================== PATH search

utl_FilePath uti_Spawn::FindCommand(const cow_String& name) {
  // No ".exe" rule here: POSIX programs carry no suffix.
  utl_FilePath path(name);
  if (path.Path() == path.Absolute().Path()) return path;
  if (utl_Stat(name).IsExecutable()) return path;
  atr_String pathVar;
  if (plt_GetEnv("PATH", &pathVar)) {
    const char sep = plt_PathListSeparator();
    const char* s = pathVar.c_str();
    const int n = pathVar.Length();
    for (int i = 0; i <= n; ++i) {
      int start = i;
      while (i < n && s[i] != sep) ++i;
      if (i == start) continue;
      utl_FilePath candidate(cow_String(pathVar.Substr(start, i - start)), name);
      utl_Stat st(candidate.Path());
      if (!st.Exists() || st.IsDirectory()) continue;
      if (!st.IsExecutable()) NEX_THROW(uti_NotExecutableException(candidate.Absolute().Path()));
      return candidate;
    }
  }
  NEX_THROW(uti_NotOnPathException(name));
}
