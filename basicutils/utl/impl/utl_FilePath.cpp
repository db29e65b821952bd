#include "utl/utl_FilePath.h"

#include "plt/plt_FileSystem.h"

namespace {

int LastSeparator(const cow_String& p) {
  for (int i = p.Length() - 1; i >= 0; --i)
    if (utl_FilePath::IsSeparator(p[i])) return i;
  return -1;
}

}  // namespace

utl_FilePath::utl_FilePath(const cow_String& directory, const cow_String& name) {
  if (directory.IsEmpty() || (!name.IsEmpty() && IsSeparator(name[0]))) {
    m_Path = name;
  } else if (name.IsEmpty()) {
    m_Path = directory;
  } else {
    m_Path = AppendSeparator(directory) + name;
  }
}

bool utl_FilePath::IsAbsolute() const { return !m_Path.IsEmpty() && IsSeparator(m_Path[0]); }

cow_String utl_FilePath::Directory() const {
  int at = LastSeparator(m_Path);
  if (at < 0) return cow_String();
  // Every separator before the name belongs to the directory's end, which
  // leaves the root as it is.
  int end = at;
  while (end > 0 && IsSeparator(m_Path[end - 1])) --end;
  return end == 0 ? cow_String(Root()) : m_Path.Substr(0, end);
}

cow_String utl_FilePath::Name() const { return m_Path.Substr(LastSeparator(m_Path) + 1); }

cow_String utl_FilePath::Extension() const {
  cow_String name = Name();
  for (int i = name.Length() - 1; i > 0; --i)
    if (name[i] == '.') return name.Substr(i);
  return cow_String();
}

utl_FilePath utl_FilePath::Normalized() const {
  const bool absolute = IsAbsolute();
  // The parts kept so far, joined by single separators, without the root.
  cow_String kept;
  const int n = m_Path.Length();
  for (int i = 0; i < n;) {
    while (i < n && IsSeparator(m_Path[i])) ++i;
    int from = i;
    while (i < n && !IsSeparator(m_Path[i])) ++i;
    if (i == from) break;
    cow_String part = m_Path.Substr(from, i - from);
    if (part == ".") continue;
    if (part == "..") {
      int last = LastSeparator(kept);
      bool keptEndsInUp = kept.Length() - last - 1 == 2 && kept.Substr(last + 1) == "..";
      if (!kept.IsEmpty() && !keptEndsInUp) {
        kept = last < 0 ? cow_String() : kept.Substr(0, last);
        continue;
      }
      if (absolute) continue;  // above the root is the root
    }
    if (!kept.IsEmpty()) kept.append(Separator());
    kept.append(part);
  }
  if (absolute) return utl_FilePath(cow_String(Root()) + kept);
  return utl_FilePath(kept.IsEmpty() ? cow_String(".") : kept);
}

utl_FilePath utl_FilePath::Absolute() const {
  if (IsAbsolute()) return Normalized();
  cow_String cwd(plt_CurrentDirectory());
  if (cwd.IsEmpty()) return *this;
  return utl_FilePath(cwd, m_Path).Normalized();
}

bool utl_FilePath::HasTrailingSeparator(const cow_String& path) {
  return !path.IsEmpty() && IsSeparator(path[path.Length() - 1]);
}

cow_String utl_FilePath::StripTrailingSeparator(const cow_String& path) {
  if (!HasTrailingSeparator(path) || path.Length() == 1) return path;
  return path.Substr(0, path.Length() - 1);
}

cow_String utl_FilePath::AppendSeparator(const cow_String& path) {
  if (path.IsEmpty() || HasTrailingSeparator(path)) return path;
  cow_String out(path);
  out.append(Separator());
  return out;
}
