// The child the spawn tests start. It reports what it was given and then
// does what its "@" words ask, in order:
//   @report=PATH  write argv, the working directory, the environment, the
//                 open descriptors (and what they point to), the process and
//                 session ids to PATH
//   @out=TEXT     write TEXT and a newline to standard output
//   @err=TEXT     the same to standard error
//   @cat          copy standard input to standard output until end of input
//   @count        read standard input to its end, then print "read N"
//   @lines=N      print N lines "line 0" ... "line N-1"
//   @pidfile=PATH write the process id to PATH
//   @sleep=MS     sleep MS milliseconds
//   @signal=N     raise signal N
//   @exit=N       exit with N
// Any other word is only reported. The exit code is 0 unless @exit says.
#include <dirent.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <string>

extern char** environ;

namespace {

bool Starts(const char* s, const char* prefix, const char** rest) {
  size_t n = strlen(prefix);
  if (strncmp(s, prefix, n) != 0) return false;
  *rest = s + n;
  return true;
}

void Report(const char* path, int argc, char** argv) {
  FILE* f = fopen(path, "w");
  if (!f) exit(90);
  fprintf(f, "argc=%d\n", argc);
  for (int i = 0; i < argc; ++i) fprintf(f, "argv=%s\n", argv[i]);
  char cwd[4096];
  fprintf(f, "cwd=%s\n", getcwd(cwd, sizeof cwd) ? cwd : "?");
  for (char** e = environ; *e; ++e) fprintf(f, "env=%s\n", *e);
  DIR* d = opendir("/proc/self/fd");
  if (d) {
    int own = dirfd(d);
    while (struct dirent* de = readdir(d)) {
      if (de->d_name[0] == '.') continue;
      int fd = atoi(de->d_name);
      if (fd == own || fd == fileno(f)) continue;
      char link[64], target[4096];
      snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
      ssize_t n = readlink(link, target, sizeof target - 1);
      target[n > 0 ? n : 0] = 0;
      fprintf(f, "fd=%d %s\n", fd, target);
    }
    closedir(d);
  }
  fprintf(f, "pid=%d\nsid=%d\n", (int)getpid(), (int)getsid(0));
  fclose(f);
}

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const char* v;
    const char* a = argv[i];
    if (Starts(a, "@report=", &v)) {
      Report(v, argc, argv);
    } else if (Starts(a, "@out=", &v)) {
      printf("%s\n", v);
      fflush(stdout);
    } else if (Starts(a, "@err=", &v)) {
      fprintf(stderr, "%s\n", v);
      fflush(stderr);
    } else if (strcmp(a, "@cat") == 0) {
      char buf[4096];
      size_t n;
      while ((n = fread(buf, 1, sizeof buf, stdin)) > 0) fwrite(buf, 1, n, stdout);
      fflush(stdout);
    } else if (strcmp(a, "@count") == 0) {
      char buf[4096];
      size_t n, total = 0;
      while ((n = fread(buf, 1, sizeof buf, stdin)) > 0) total += n;
      printf("read %zu\n", total);
      fflush(stdout);
    } else if (Starts(a, "@lines=", &v)) {
      for (int k = 0, n = atoi(v); k < n; ++k) printf("line %d\n", k);
      fflush(stdout);
    } else if (Starts(a, "@pidfile=", &v)) {
      std::string tmp = std::string(v) + ".part";
      FILE* f = fopen(tmp.c_str(), "w");
      if (!f) return 91;
      fprintf(f, "%d\n", (int)getpid());
      fclose(f);
      rename(tmp.c_str(), v);  // readers see the whole id or nothing
    } else if (Starts(a, "@sleep=", &v)) {
      long ms = atol(v);
      struct timespec ts = {ms / 1000, (ms % 1000) * 1000000L};
      while (nanosleep(&ts, &ts) < 0) {
      }
    } else if (Starts(a, "@signal=", &v)) {
      raise(atoi(v));
    } else if (Starts(a, "@exit=", &v)) {
      return atoi(v);
    }
  }
  return 0;
}
