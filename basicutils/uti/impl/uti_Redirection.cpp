// Redirection records, the symbol table and the word-list forms.
#include "uti/uti_Redirection.h"

#include "atr/atr_Translate.h"
#include "cow/cow_Map.h"
#include "nex/nex_Exception.h"
#include "plt/plt_Error.h"
#include "plt/plt_File.h"
#include "plt/plt_Process.h"
#include "thr/thr_GlobalSingleton.h"
#include "thr/thr_ThreadSingleton.h"
#include "uti/impl/uti_SpawnInternal.h"
#include "uti/uti_Exception.h"
#include "utl/utl_FilePath.h"

#define NEX_SOURCE "uti/impl/uti_Redirection"

namespace {

struct SymbolRow {
  int m_Stream;
  bool m_Append;
  bool m_Merge;  // standard error goes where the stream goes
};

int ReleaseTable();

// The seven symbols, made on first use by the global singleton.
class RedirectionTable : public mem_AllocationOperators {
 public:
  RedirectionTable() {
    struct Entry {
      const char* m_Symbol;
      SymbolRow m_Row;
    };
    static constexpr Entry kRows[] = {
        {"<", {0, false, false}},  {">", {1, false, false}},  {"2>", {2, false, false}},
        {">>", {1, true, false}},  {"2>>", {2, true, false}}, {">&", {1, false, true}},
        {">>&", {1, true, true}},
    };
    for (const Entry& e : kRows) m_Rows.Insert(cow_String(e.m_Symbol), e.m_Row);
    // The registry lets it go with the thread objects of level 16.
    thr_ThreadSingletonCore::Register(&ReleaseTable);
    thr_ThreadSingletonCore::SetLevel(&ReleaseTable, thr_DestructLevelRedirection);
  }
  const SymbolRow* Find(const cow_String& symbol) const { return m_Rows.FindPtr(symbol); }

 private:
  cow_Map<cow_String, SymbolRow> m_Rows;
};

int ReleaseTable() {
  if (thr_GlobalSingletonBase<RedirectionTable>::Instance() == nullptr) return 0;
  thr_GlobalSingletonBase<RedirectionTable>::Finalize();
  return 1;
}

const SymbolRow* FindSymbol(const cow_String& symbol) {
  return thr_GlobalSingleton<RedirectionTable>::Instance().Find(symbol);
}

const char* const kStreamNames[3] = {"stdin", "stdout", "stderr"};

}  // namespace

void uti_releaseRedirectionTable() { thr_GlobalSingletonBase<RedirectionTable>::Finalize(); }

uti_Redirection::Handle::Handle(const utl_FilePath& path) : m_FileName(path.Path()) {}

// ============================================================ constructors

uti_Redirection::uti_Redirection(const cow_String& symbol, const Handle& target) { Redirect(symbol, target); }

uti_Redirection::uti_Redirection(const cow_String& symbol1, const Handle& target1, const cow_String& symbol2,
                                 const Handle& target2) {
  Redirect(symbol1, target1);
  Redirect(symbol2, target2);
}

uti_Redirection::uti_Redirection(const cow_String& symbol1, const Handle& target1, const cow_String& symbol2,
                                 const Handle& target2, const cow_String& symbol3, const Handle& target3) {
  Redirect(symbol1, target1);
  Redirect(symbol2, target2);
  Redirect(symbol3, target3);
}

uti_Redirection::uti_Redirection(const cow_String& text) {
  cow_List<cow_String> words;
  const char* s = text.c_str();
  const int n = text.Length();
  for (int i = 0; i < n;) {
    while (i < n && (s[i] == ' ' || s[i] == '\t')) ++i;
    int start = i;
    while (i < n && s[i] != ' ' && s[i] != '\t') ++i;
    if (i > start) words.Append(text.Substr(start, i - start));
  }
  ApplyWords(words);
}

uti_Redirection::uti_Redirection(const cow_List<cow_String>& words) { ApplyWords(words); }

uti_Redirection::~uti_Redirection() {
  for (Redirector& r : m_Records)
    if (r.m_Fd >= 3) plt_DescriptorClose(r.m_Fd);
}

void uti_Redirection::ApplyWords(const cow_List<cow_String>& words) {
  const int n = words.Count();
  if (n > 6) NEX_THROW(nex_TextException("Two many redirection arguments"));
  if (n % 2 != 0) NEX_THROW(nex_TextException("Redirection arguments must be paired"));
  for (int i = 0; i < n; i += 2) Redirect(words.ConstGet(i), Handle(words.ConstGet(i + 1)));
}

// ================================================================ mutators

void uti_Redirection::Redirect(const cow_String& symbol, const Handle& target) {
  const SymbolRow* row = FindSymbol(symbol);
  if (row == nullptr) NEX_THROW(nex_TextException("Unrecognized redirector symbol"));
  if (target.Fd() != -1 && !plt_DescriptorValid(target.Fd()))
    NEX_THROW(uti_IOErrorException("fstat", plt_LastError(), cow_String(atr_String(target.Fd()))));
  const SymbolRow r = *row;  // the table may go while this runs on
  setRedirector(r.m_Stream, r.m_Append, target);
  if (r.m_Merge) setRedirector(2, false, Handle(1));
}

void uti_Redirection::Nullify() {
  for (int i = 0; i < 3; ++i)
    if (m_Records[i].isUndefined()) setRedirector(i, false, Handle(NullDevice()));
}

void uti_Redirection::setRedirector(int stream, bool append, const Handle& target) {
  Redirector& r = getRedirector(stream);
  if (!r.isUndefined()) {
    atr_translate t("Stream %s has already redirected.");
    atr_SubstituteFormat(t, 1, kStreamNames[stream]);
    NEX_THROW(nex_TextException(t.Result()));
  }
  r.m_Fd = target.Fd();
  r.m_FileName = target.FileName();
  r.m_Append = append;
}

bool uti_Redirection::IsSymbol(const cow_String& word) { return FindSymbol(word) != nullptr; }
