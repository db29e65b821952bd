// uti_Spawn: one child process, started with a command line, an optional
// environment and redirected standard streams, then waited for, polled,
// detached from or killed. Everything is synchronous and owned by the
// caller; nothing runs in the background.
//
// Starting (spawn, for subclasses): the command line is the quoted command
// and the quoted arguments (uti_SpawnParts.h); it alone decides what runs,
// exactly as a Windows command line would: it is split back into argv by the
// Windows C run time's rules, and the program is looked for as Windows'
// CreateProcess looks for it (uti_LocateProgram). A non-empty environment
// map replaces the child's environment with its entries (sorted by key) and
// starts the child in the caller's current directory; an empty map lets the
// child inherit both. The redirection is used up: files it names are opened
// (standard input read-only; output and error created, truncated or
// appended to), its descriptors of 3 and above are closed and its
// descriptors reset to -1, whatever the outcome. The child gets no other
// descriptor of the caller. mode < 0 starts the child in a new session (no
// controlling terminal); 0 and 1 start it normally. A failure raises
// uti_IOErrorException "open" (a redirection file) or "CreateProcess" (the
// program is missing or may not be run, or the system refused); nothing is
// then left running and the object stays not running with exit code -1.
//
// Exit codes: the child's exit() value; -1 after Kill; 128 + the signal's
// number for any other signal; -1 while nothing is known; 86 after Detach.
//
// Reap(seconds): 0 waits without limit, n > 0 at most n seconds, < 0 only
// looks. A status that cannot be read raises uti_IOErrorException
// "GetExitCodeProcess". Once the end is known the process handle is closed.
//
// The destructor does nothing to the child: it neither waits nor kills. A
// child that is still running is left to the platform, which reaps it when
// it ends (no zombie stays behind).
//
// The one-string forms of AndWait, AndExit and Daemon go through Parser,
// whose command is always empty: they raise the "CreateProcess" error.
//
// Debug flag 2 ("spawn"): level 1 logs the command line (and waitForAll's
// results), level 2 the arguments and the standard-handle choices, level 3
// the environment, on pnt_debugPrint().
//
// Threads: no locks. One object is used by one thread at a time; spawning
// changes nothing process-wide, so objects on different threads may spawn
// at once.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "cow/cow_List.h"
#include "cow/cow_Map.h"
#include "cow/cow_String.h"
#include "mem/mem_AllocationOperators.h"
#include "uti/uti_Redirection.h"
#include "utl/utl_FilePath.h"

struct plt_Process;
struct uti_SpawnReader;

typedef cow_Map<cow_String, cow_String> uti_Environment;

class VNKUTI_BASIC_API uti_Spawn : public mem_AllocationOperators {
 public:
  // What the one-string forms start from. Deliberately fills nothing from
  // the string: the command is empty, the path is "." (an empty name in the
  // directory "."), the list, the map and the redirection are empty.
  class VNKUTI_BASIC_API Parser : public mem_AllocationOperators {
   public:
    explicit Parser(const cow_String& commandString);
    Parser(const Parser&) = delete;
    Parser& operator=(const Parser&) = delete;

    cow_String m_Command;
    utl_FilePath m_Path;
    cow_List<cow_String> m_Args;
    uti_Environment m_Env;
    uti_Redirection m_Redirection;
  };

  // ------------------------------------------------------ constructors
  uti_Spawn() = default;
  virtual ~uti_Spawn();  // leaves the child alone
  uti_Spawn(const uti_Spawn&) = delete;
  uti_Spawn& operator=(const uti_Spawn&) = delete;

  // ---------------------------------------------------------- waiting
  // Polls (uti_Spawn::Reap(-1), so a pipe class's ends stay as they are)
  // and answers the running flag.
  virtual bool IsRunning();
  // See the header comment; answers the exit code.
  virtual int Reap(int seconds);
  // Gives the child up: if running, the code is collected first when one is
  // already known (Reap(0)); then the running flag is cleared and the exit
  // code is 86. The process handle stays open, so Kill still reaches it.
  virtual void Detach();

  // ----------------------------------------------------------- control
  // Ends the child with exit code -1 (SIGKILL); 0 on success, -1 when there
  // is no child to end. Does not wait. Interrupt does the same.
  int Kill();
  int Interrupt();

  // ---------------------------------------------------------- accessors
  int ExitCode() const { return m_ExitCode; }  // the stored code, no poll
  int ProcessId() const;                       // -1 without a process handle

  // ---------------------------------------------------- one-string forms
  // Each builds a Parser from command and raises the "CreateProcess" error.
  static int AndWait(cow_String command, const uti_Environment& env);
  static void AndExit(cow_String command, const uti_Environment& env);
  static void Daemon(cow_String command, const uti_Environment& env);

  // ---------------------------------------------------- several at once
  // The first object (in list order) that is not running; otherwise waits
  // for any to end, stores its exit code (its running flag stays until the
  // next IsRunning or Reap) and answers it.
  static uti_Spawn* waitForAny(uti_Spawn* const* list, int count);
  // Reaps each object with what is left of seconds (only polls once less
  // than a second is left, and always with seconds = 0); answers how many
  // still run. count < 1 answers count.
  static int waitForAll(uti_Spawn* const* list, int count, int seconds);

  // The calling process's environment; a string without "=" is a key with
  // an empty value.
  static uti_Environment getEnvironment();

 protected:
  // Starts the child (see the header comment). program is not used: the
  // command line alone decides what runs.
  void spawn(const cow_String& command, const utl_FilePath& program, const cow_List<cow_String>& args,
             uti_Redirection& redirection, const uti_Environment& env, int mode);

  // Start a temporary object: AndWait with mode 1 and answers Reap(0);
  // AndExit with mode 0 and returns at once (the child keeps running; the
  // caller's process goes on too); Daemon nullifies the redirection, starts
  // with mode -1 and detaches.
  static int AndWait(const cow_String& command, const utl_FilePath& program, const cow_List<cow_String>& args,
                     uti_Redirection& redirection, const uti_Environment& env);
  static void AndExit(const cow_String& command, const utl_FilePath& program, const cow_List<cow_String>& args,
                      uti_Redirection& redirection, const uti_Environment& env);
  static void Daemon(const cow_String& command, const utl_FilePath& program, const cow_List<cow_String>& args,
                     uti_Redirection& redirection, const uti_Environment& env);

  // The PATH search (no ".exe" rule on POSIX): a name that is its own
  // absolute form is answered as it is, unchecked; so is a name that may be
  // run from the current directory; otherwise the first file of that name
  // in a directory of PATH. None raises uti_NotOnPathException (the name);
  // one that may not be run raises uti_NotExecutableException (its absolute
  // path).
  static utl_FilePath FindCommand(const cow_String& name);

  // Makes a pipe for the child's stream 0 or 1, which must be undefined in
  // redirection; the child's end becomes its descriptor, the parent's end is
  // answered (see the pipe classes below).
  static int AttachPipe(uti_Redirection& redirection, int stream);

 private:
  void CloseHandle();

  plt_Process* m_Process = nullptr;  // set by a successful spawn
  int m_ExitCode = -1;
  bool m_Running = false;
};

// ================================================================= pipes
// Each class starts the child with a pipe on one of its streams (the stream
// must still be undefined in the caller's redirection, else
// nex_TextException "Stream stdout has already redirected." or "Stream stdin
// has already redirected."); a pipe that cannot be made raises
// nex_SystemErrorException. Ends the parent still holds are closed by the
// destructor (which may end a child writing to a closed pipe).

// Reads the child's standard output.
class VNKUTI_BASIC_API uti_SpawnSource : public uti_Spawn {
 public:
  uti_SpawnSource() = default;
  ~uti_SpawnSource() override;
  // One line as fgets(buffer, size) reads it (the newline kept); answers its
  // length, or 0 with an empty buffer at end of input or on error.
  int GetLine(char* buffer, int size);
  // The base Reap; once the end is known (a result other than -1) the
  // reading end is closed.
  int Reap(int seconds) override;
  // Closes the reading end, then the base Detach.
  void Detach() override;

 protected:
  void spawnSource(const cow_String& command, const utl_FilePath& program, const cow_List<cow_String>& args,
                   uti_Redirection& redirection, const uti_Environment& env);
  void CloseSource();

  int m_SourceFd = -1;                   // the parent's reading end; -1 once a stream reads it
  uti_SpawnReader* m_Stream = nullptr;   // made by the first GetLine
};

// Writes the child's standard input.
class VNKUTI_BASIC_API uti_SpawnSink : public uti_Spawn {
 public:
  uti_SpawnSink() = default;
  ~uti_SpawnSink() override;
  // Writes count bytes to the child; answers count, or -1 (EPIPE when the
  // child no longer reads: no signal is raised).
  int Write(const void* data, int count);
  int SinkDescriptor() const { return m_SinkFd; }  // the parent's writing end
  // If running, the writing end is closed first (the child sees end of
  // input); then the base Reap.
  int Reap(int seconds) override;
  // If running, the writing end is closed; then the base Detach.
  void Detach() override;

 protected:
  void spawnSink(const cow_String& command, const utl_FilePath& program, const cow_List<cow_String>& args,
                 uti_Redirection& redirection, const uti_Environment& env);
  void CloseSink();

  int m_SinkFd = -1;
};

// Reads the child's standard output and also writes its standard input.
class VNKUTI_BASIC_API uti_SpawnSourceWithSink : public uti_SpawnSource {
 public:
  uti_SpawnSourceWithSink() = default;
  ~uti_SpawnSourceWithSink() override;
  int Write(const void* data, int count);
  int SinkDescriptor() const { return m_SinkFd; }
  // If running, the writing end is closed first; then uti_SpawnSource::Reap.
  int Reap(int seconds) override;
  // If running, the writing end is closed; then uti_SpawnSource::Detach.
  void Detach() override;

 protected:
  void spawnSourceWithSink(const cow_String& command, const utl_FilePath& program,
                           const cow_List<cow_String>& args, uti_Redirection& redirection,
                           const uti_Environment& env);
  void CloseSink();

  int m_SinkFd = -1;
};

// Writes the child's standard input and also reads its standard output.
class VNKUTI_BASIC_API uti_SpawnSinkWithSource : public uti_SpawnSink {
 public:
  uti_SpawnSinkWithSource() = default;
  ~uti_SpawnSinkWithSource() override;
  int GetLine(char* buffer, int size);
  // uti_SpawnSink::Reap (the writing end closed first); once the end is
  // known the reading end is closed.
  int Reap(int seconds) override;
  // Closes the reading end, then uti_SpawnSink::Detach.
  void Detach() override;

 protected:
  void spawnSinkWithSource(const cow_String& command, const utl_FilePath& program,
                           const cow_List<cow_String>& args, uti_Redirection& redirection,
                           const uti_Environment& env);
  void CloseSource();

  int m_SourceFd = -1;
  uti_SpawnReader* m_Stream = nullptr;
};
