// The child the spawn tests start. Its "@" words run in order:
//   @report=PATH  write argv, cwd, environment, open descriptors (with what
//                 they point to), pid and session id to PATH
//   @out=TEXT / @err=TEXT   a line on standard output / error
//   @cat          copy standard input to standard output
//   @count        read standard input to its end, then print "read N"
//   @pidfile=PATH @sleep=MS @signal=N @exit=N
#include <dirent.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

extern char** environ;

static void Report(const char* path, int argc, char** argv) {
  FILE* f = fopen(path, "w");
  if (!f) exit(90);
  for (int i = 0; i < argc; ++i) fprintf(f, "argv=%s\n", argv[i]);
  char cwd[4096];
  fprintf(f, "cwd=%s\n", getcwd(cwd, sizeof cwd) ? cwd : "?");
  for (char** e = environ; *e; ++e) fprintf(f, "env=%s\n", *e);
  DIR* d = opendir("/proc/self/fd");
  while (struct dirent* de = d ? readdir(d) : nullptr) {
    int fd = atoi(de->d_name);
    if (de->d_name[0] == '.' || fd == dirfd(d) || fd == fileno(f)) continue;
    char link[64], target[4096] = "";
    snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    ssize_t n = readlink(link, target, sizeof target - 1);
    target[n > 0 ? n : 0] = 0;
    fprintf(f, "fd=%d %s\n", fd, target);
  }
  if (d) closedir(d);
  fprintf(f, "pid=%d\nsid=%d\n", (int)getpid(), (int)getsid(0));
  fclose(f);
}

int main(int argc, char** argv) {
  char buf[4096];
  for (int i = 1; i < argc; ++i) {
    const char* a = argv[i];
    const char* v = strchr(a, '=') ? strchr(a, '=') + 1 : "";
    if (!strncmp(a, "@report=", 8)) {
      Report(v, argc, argv);
    } else if (!strncmp(a, "@out=", 5) || !strncmp(a, "@err=", 5)) {
      FILE* f = a[1] == 'o' ? stdout : stderr;
      fprintf(f, "%s\n", v);
      fflush(f);
    } else if (!strcmp(a, "@cat") || !strcmp(a, "@count")) {
      size_t n, total = 0;
      while ((n = fread(buf, 1, sizeof buf, stdin)) > 0) {
        total += n;
        if (a[1] == 'c' && a[2] == 'a') fwrite(buf, 1, n, stdout);
      }
      if (a[2] == 'o') printf("read %zu\n", total);
      fflush(stdout);
    } else if (!strncmp(a, "@pidfile=", 9)) {
      snprintf(buf, sizeof buf, "%s.part", v);
      FILE* f = fopen(buf, "w");
      if (!f) return 91;
      fprintf(f, "%d\n", (int)getpid());
      fclose(f);
      rename(buf, v);  // readers see the whole id or nothing
    } else if (!strncmp(a, "@sleep=", 7)) {
      long ms = atol(v);
      struct timespec ts = {ms / 1000, (ms % 1000) * 1000000L};
      while (nanosleep(&ts, &ts) < 0) {
      }
    } else if (!strncmp(a, "@signal=", 8)) {
      raise(atoi(v));
    } else if (!strncmp(a, "@exit=", 6)) {
      return atoi(v);
    }
  }
  return 0;
}
