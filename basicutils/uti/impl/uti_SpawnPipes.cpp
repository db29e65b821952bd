// The four pipe subclasses of uti_Spawn: making the pipes, reading lines,
// writing, and the order in which the parent's ends are closed (which
// decides when the child sees end of input).
#include <cerrno>

#include "nex/nex_Exception.h"
#include "plt/plt_Error.h"
#include "plt/plt_File.h"
#include "plt/plt_Process.h"
#include "uti/uti_Spawn.h"

#define NEX_SOURCE "uti/impl/uti_Spawn"

// The buffered reader GetLine opens on the reading end (the stdio stream of
// the Windows run time, kept to what fgets needs).
struct uti_SpawnReader : public mem_AllocationOperators {
  explicit uti_SpawnReader(int fd) : m_Fd(fd) {}
  ~uti_SpawnReader() { plt_DescriptorClose(m_Fd); }

  // fgets(buffer, size): up to size - 1 bytes, stopping after a newline.
  // End of input before any byte, or a read error, gives "" and 0.
  int GetLine(char* buffer, int size) {
    if (size <= 0) return 0;
    int n = 0;
    bool failed = false;
    while (n < size - 1) {
      if (m_Pos == m_Len) {
        if (m_Ended) break;
        int got = plt_DescriptorRead(m_Fd, m_Buffer, static_cast<int>(sizeof m_Buffer));
        if (got <= 0) {
          m_Ended = true;  // stays at the end, as a stdio stream does
          failed = got < 0;
          break;
        }
        m_Pos = 0;
        m_Len = got;
      }
      const char c = m_Buffer[m_Pos++];
      buffer[n++] = c;
      if (c == '\n') break;
    }
    if (failed) n = 0;
    buffer[n] = 0;
    return n;
  }

  int m_Fd;
  int m_Pos = 0;
  int m_Len = 0;
  bool m_Ended = false;
  char m_Buffer[4096];
};

namespace {

const char* const kStreamTaken[2] = {"Stream stdin has already redirected.", "Stream stdout has already redirected."};

void CloseFd(int& fd) {
  if (fd >= 0) plt_DescriptorClose(fd);
  fd = -1;
}

void CloseReader(int& fd, uti_SpawnReader*& stream) {
  delete stream;  // closes its descriptor
  stream = nullptr;
  CloseFd(fd);
}

int ReadLine(int& fd, uti_SpawnReader*& stream, char* buffer, int size) {
  if (stream == nullptr) {
    if (fd < 0) {
      if (size > 0) buffer[0] = 0;
      return 0;
    }
    stream = new uti_SpawnReader(fd);
    fd = -1;
  }
  return stream->GetLine(buffer, size);
}

int WriteAll(int fd, const void* data, int count) {
  if (fd < 0) {
    plt_SetLastError(EBADF);
    return -1;
  }
  return plt_PipeWrite(fd, data, count);
}

}  // namespace

int uti_Spawn::AttachPipe(uti_Redirection& redirection, int stream) {
  uti_Redirection::Redirector& r = redirection.getRedirector(stream);
  if (!r.isUndefined()) NEX_THROW(nex_TextException(kStreamTaken[stream]));
  int ends[2];
  if (!plt_PipeCreate(ends)) {
    const int err = plt_LastError();
    NEX_THROW(nex_SystemErrorException(static_cast<unsigned>(err), err));
  }
  // The child reads standard input from ends[0] and writes standard output
  // to ends[1]; both ends are kept from every exec'd program, and the spawn
  // places the child's end by itself.
  r.m_Fd = stream == 0 ? ends[0] : ends[1];
  return stream == 0 ? ends[1] : ends[0];
}

// ================================================================ source

uti_SpawnSource::~uti_SpawnSource() { CloseSource(); }

void uti_SpawnSource::CloseSource() { CloseReader(m_SourceFd, m_Stream); }

void uti_SpawnSource::spawnSource(const cow_String& command, const utl_FilePath& program,
                                  const cow_List<cow_String>& args, uti_Redirection& redirection,
                                  const uti_Environment& env) {
  CloseSource();
  m_SourceFd = AttachPipe(redirection, 1);
  try {
    spawn(command, program, args, redirection, env, 1);
  } catch (...) {
    CloseSource();
    throw;
  }
}

int uti_SpawnSource::GetLine(char* buffer, int size) { return ReadLine(m_SourceFd, m_Stream, buffer, size); }

int uti_SpawnSource::Reap(int seconds) {
  const int code = uti_Spawn::Reap(seconds);
  if (code != -1) CloseSource();
  return code;
}

void uti_SpawnSource::Detach() {
  CloseSource();
  uti_Spawn::Detach();
}

// ================================================================== sink

uti_SpawnSink::~uti_SpawnSink() { CloseSink(); }

void uti_SpawnSink::CloseSink() { CloseFd(m_SinkFd); }

void uti_SpawnSink::spawnSink(const cow_String& command, const utl_FilePath& program,
                              const cow_List<cow_String>& args, uti_Redirection& redirection,
                              const uti_Environment& env) {
  CloseSink();
  m_SinkFd = AttachPipe(redirection, 0);
  try {
    spawn(command, program, args, redirection, env, 1);
  } catch (...) {
    CloseSink();
    throw;
  }
}

int uti_SpawnSink::Write(const void* data, int count) { return WriteAll(m_SinkFd, data, count); }

int uti_SpawnSink::Reap(int seconds) {
  if (IsRunning()) CloseSink();
  return uti_Spawn::Reap(seconds);
}

void uti_SpawnSink::Detach() {
  if (IsRunning()) CloseSink();
  uti_Spawn::Detach();
}

// ====================================================== source with sink

uti_SpawnSourceWithSink::~uti_SpawnSourceWithSink() { CloseSink(); }

void uti_SpawnSourceWithSink::CloseSink() { CloseFd(m_SinkFd); }

void uti_SpawnSourceWithSink::spawnSourceWithSink(const cow_String& command, const utl_FilePath& program,
                                                  const cow_List<cow_String>& args, uti_Redirection& redirection,
                                                  const uti_Environment& env) {
  CloseSink();
  m_SinkFd = AttachPipe(redirection, 0);
  try {
    spawnSource(command, program, args, redirection, env);
  } catch (...) {
    CloseSink();
    throw;
  }
}

int uti_SpawnSourceWithSink::Write(const void* data, int count) { return WriteAll(m_SinkFd, data, count); }

int uti_SpawnSourceWithSink::Reap(int seconds) {
  if (IsRunning()) CloseSink();
  return uti_SpawnSource::Reap(seconds);
}

void uti_SpawnSourceWithSink::Detach() {
  if (IsRunning()) CloseSink();
  uti_SpawnSource::Detach();
}

// ====================================================== sink with source

uti_SpawnSinkWithSource::~uti_SpawnSinkWithSource() { CloseSource(); }

void uti_SpawnSinkWithSource::CloseSource() { CloseReader(m_SourceFd, m_Stream); }

void uti_SpawnSinkWithSource::spawnSinkWithSource(const cow_String& command, const utl_FilePath& program,
                                                  const cow_List<cow_String>& args, uti_Redirection& redirection,
                                                  const uti_Environment& env) {
  CloseSource();
  m_SourceFd = AttachPipe(redirection, 1);
  try {
    spawnSink(command, program, args, redirection, env);
  } catch (...) {
    CloseSource();
    throw;
  }
}

int uti_SpawnSinkWithSource::GetLine(char* buffer, int size) { return ReadLine(m_SourceFd, m_Stream, buffer, size); }

int uti_SpawnSinkWithSource::Reap(int seconds) {
  const int code = uti_SpawnSink::Reap(seconds);
  if (code != -1) CloseSource();
  return code;
}

void uti_SpawnSinkWithSource::Detach() {
  CloseSource();
  uti_SpawnSink::Detach();
}
