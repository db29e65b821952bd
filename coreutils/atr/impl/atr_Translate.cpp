#include "atr/atr_Translate.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "mem/mem_Alloc.h"

namespace {

struct Entry {
  atr_String key;
  atr_String text;
};

// The catalog in use: entries sorted by key, made by atr_loadTranslationCatalog.
constinit Entry* g_Entries = nullptr;
constinit int g_Count = 0;

void FreeEntries(Entry* entries, int count) {
  for (int i = 0; i < count; ++i) entries[i].~Entry();
  mem_Free(entries);
}

atr_String Unescape(const char* p, int n) {
  atr_String out(n, atr_String::PreSize);
  for (int i = 0; i < n; ++i) {
    char c = p[i];
    if (c == '\\' && i + 1 < n) {
      char e = p[++i];
      c = e == 'n' ? '\n' : e == 't' ? '\t' : e;
    }
    out.append(c);
  }
  return out;
}

// Byte order, whatever the natural-order flag says: sorting and lookup agree.
int ByteCompare(const atr_String& x, const atr_String& y) {
  int n = x.Length() < y.Length() ? x.Length() : y.Length();
  int c = std::memcmp(x.c_str(), y.c_str(), n);
  return c != 0 ? c : x.Length() - y.Length();
}

const atr_String* Lookup(const char* key) {
  int lo = 0, hi = g_Count - 1;
  atr_String k(key, atr_String::npos);
  while (lo <= hi) {
    int mid = (lo + hi) / 2;
    int c = ByteCompare(g_Entries[mid].key, k);
    if (c == 0) return &g_Entries[mid].text;
    if (c < 0)
      lo = mid + 1;
    else
      hi = mid - 1;
  }
  return nullptr;
}


}  // namespace

atr_translate::atr_translate(const char* message) {
  const atr_String* t = (message && g_Count) ? Lookup(message) : nullptr;
  m_Template = t ? *t : atr_String(message);
}

void atr_setTranslateArg(atr_translate& t, int index, const atr_StringBase& value) {
  if (index < 1 || index > atr_translate::MaxArgs) return;
  t.m_Args[index - 1] = value;
  t.m_Given |= 1u << (index - 1);
}

void atr_SubstituteFormat(atr_translate& t, int index, const char* value) {
  atr_setTranslateArg(t, index, atr_String(value));
}
void atr_SubstituteFormat(atr_translate& t, int index, const atr_StringBase& value) {
  atr_setTranslateArg(t, index, value);
}
void atr_SubstituteFormat(atr_translate& t, int index, int value) { atr_setTranslateArg(t, index, atr_String(value)); }
void atr_SubstituteFormat(atr_translate& t, int index, unsigned int value) {
  atr_setTranslateArg(t, index, atr_String(value));
}

atr_String atr_translate::Result() const {
  const char* p = m_Template.c_str();
  int n = m_Template.Length();
  atr_String out(n + 64, atr_String::PreSize);
  int next = 0;  // plain placeholders take the arguments in order
  int i = 0;
  while (i < n) {
    const char* pct = static_cast<const char*>(std::memchr(p + i, '%', n - i));
    int stop = pct ? static_cast<int>(pct - p) : n;
    out.append(p + i, stop - i);
    i = stop;
    if (i >= n) break;
    // p[i] == '%'
    if (i + 1 < n && p[i + 1] == '%') {
      out.append('%');
      i += 2;
      continue;
    }
    if (i + 3 < n && p[i + 1] >= '1' && p[i + 1] <= '9' && p[i + 2] == '$' &&
        (p[i + 3] == 's' || p[i + 3] == 'd' || p[i + 3] == 'u')) {
      int k = p[i + 1] - '1';
      if (m_Given & (1u << k))
        out.append(m_Args[k]);
      else
        out.append(p + i, 4);
      i += 4;
      continue;
    }
    if (i + 1 < n && (p[i + 1] == 's' || p[i + 1] == 'd' || p[i + 1] == 'u')) {
      if (next < MaxArgs && (m_Given & (1u << next)))
        out.append(m_Args[next]);
      else
        out.append(p + i, 2);
      ++next;
      i += 2;
      continue;
    }
    out.append('%');
    ++i;
  }
  return out;
}

bool atr_loadTranslationCatalog(const char* path) {
  std::FILE* f = path ? std::fopen(path, "rb") : nullptr;
  if (!f) return false;
  atr_String all;
  char buf[8192];
  std::size_t got;
  while ((got = std::fread(buf, 1, sizeof buf, f)) > 0) all.append(buf, static_cast<int>(got));
  bool readOk = !std::ferror(f);
  std::fclose(f);
  if (!readOk) return false;

  // Count lines to size the table, then parse.
  const char* s = all.c_str();
  int n = all.Length(), lines = 1;
  for (int i = 0; i < n; ++i) lines += s[i] == '\n';
  auto* entries = static_cast<Entry*>(mem_Malloc(sizeof(Entry) * lines));
  int count = 0;
  for (int start = 0; start < n;) {
    const char* nl = static_cast<const char*>(std::memchr(s + start, '\n', n - start));
    int end = nl ? static_cast<int>(nl - s) : n;
    int len = end - start;
    if (len > 0 && s[end - 1] == '\r') --len;
    if (len > 0 && s[start] != '#') {
      const char* tab = static_cast<const char*>(std::memchr(s + start, '\t', len));
      if (!tab) {
        FreeEntries(entries, count);
        return false;
      }
      int klen = static_cast<int>(tab - (s + start));
      new (&entries[count]) Entry{Unescape(s + start, klen), Unescape(tab + 1, len - klen - 1)};
      ++count;
    }
    start = end + 1;
  }
  std::sort(entries, entries + count, [](const Entry& a, const Entry& b) { return ByteCompare(a.key, b.key) < 0; });
  atr_clearTranslationCatalog();
  g_Entries = entries;
  g_Count = count;
  return true;
}

void atr_clearTranslationCatalog() {
  if (g_Entries) FreeEntries(g_Entries, g_Count);
  g_Entries = nullptr;
  g_Count = 0;
}

int atr_translationCatalogSize() { return g_Count; }
