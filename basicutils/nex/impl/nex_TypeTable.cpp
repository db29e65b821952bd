#include "nex/nex_TypeTable.h"

#include <cstdlib>

#include "atr/atr_Translate.h"
#include "nex/nex_Exception.h"
#include "typ/typ_ArchCompTable.h"

#define NEX_SOURCE "nex/impl/nex_TypeTable"

namespace {

constexpr char kSessionAdvice[] =
    "*** Error: An out of memory error occurred, or the Vornik/CAE memory limit was reached.\n \n"
    "If the application ran out of memory, please create backup copies of your Vornik/CAE databases and then try "
    "to save them.\n"
    "Database corruption may occur if an out of memory error occurs during the save operation.\n \n"
    "To change the Vornik/CAE memory limit now, issue the following command in the Vornik/CAE CLI: \n"
    " session.setValues(kernelMemoryLimit=valueInMBytes) \n \n"
    "To change the value for future Vornik/CAE sessions, refer to the VORNIK Installation and Licensing Guide for "
    "details on how to modify this value in your vornik_v6.env file.\n \n"
    "It is recommended that you exit Vornik/CAE and then restart it.\n \n"
    "On 32-bit versions of Windows, you can use the boot option /3GB /userva=SizeInMBytes to increase the amount of "
    "memory that can be used by Vornik/CAE. Please refer to Microsoft's documentation for more detailed "
    "information.\n"
    "Alternatively, if you have access to a 64-bit operating system, you can try running Vornik/CAE there, where "
    "the memory is not limited to 2 or 3GB. \n";

constexpr char kGenericAdvice[] =
    "*** Error: An out of memory error occurred. On 32-bit versions of Windows, you can use the boot option /3GB "
    "/userva=SizeInMBytes to increase the amount of memory that can be used by the application. Please refer to "
    "Microsoft's documentation for more detailed information. Alternatively, if you have access to a 64-bit "
    "operating system, you can try running the application there, where the memory is not limited to 2 or 3GB. \n";

// The two process-wide advice texts, made by nex_initialize.
constinit atr_String* g_SessionAdvice = nullptr;
constinit atr_String* g_GenericAdvice = nullptr;

// The module's entry in the type table: class number k at index k - 1.
constexpr unsigned kRoot = 1;
constexpr unsigned kBase = nex_Exception::ClassTypeId;
constexpr typ_Entry kNexEntries[] = {
    {kRoot, "nex_Exception", 4},            {kBase, "nex_TextException", 4},
    {kBase, "nex_CommandException", 4},     {kBase, "nex_AssertException", 4},
    {kBase, "nex_BadCastException", 4},     {kBase, "nex_ExitException", 4},
    {kBase, "nex_InvalidObjException", 4},  {kBase, "nex_SystemErrorException", 4},
    {kBase, "nex_OutOfMemoryException", 4},
};

// Exhaustion of the core allocator arrives as nex_OutOfMemoryException.
void OnExhausted(std::size_t) { nex_OutOfMemoryException(nex_OutOfMemoryHeap).Throw(NEX_SOURCE, __LINE__); }

}  // namespace

// ================================================================ module

void nex_TypeTable::Create() {
  InstallRegistryHooks();
  typ_ArchCompEntry e;
  e.m_Entries = kNexEntries;
  e.m_Count = sizeof(kNexEntries) / sizeof(kNexEntries[0]);
  typ_ArchCompTable::InsertEntry(31, e);
  RegisterPersistentClasses();
  g_SessionAdvice = new atr_String(kSessionAdvice);
  g_GenericAdvice = new atr_String(kGenericAdvice);
  mem_SetExhaustionHandler(&OnExhausted);
}

void nex_TypeTable::Destroy() {
  mem_SetExhaustionHandler(nullptr);
  delete g_SessionAdvice;
  delete g_GenericAdvice;
  g_SessionAdvice = nullptr;
  g_GenericAdvice = nullptr;
}

// ================================================================= base

nex_Exception::~nex_Exception() = default;

void nex_Exception::Throw(const char* file, int line) {
  m_FromFile = file;
  m_FromLine = line;
  Propagate();
  std::abort();  // Propagate always throws; this only tells the compiler so
}

atr_String nex_Exception::UserReport() const { return AsString(); }

atr_String nex_Exception::DeveloperReport() const {
  atr_translate t("Exception: %s in file %s at line %d");
  atr_SubstituteFormat(t, 1, UserReport());
  atr_SubstituteFormat(t, 2, m_FromFile);
  atr_SubstituteFormat(t, 3, m_FromLine);
  return t.Result();
}

// ============================================================ subclasses

NEX_CONCRETE_DEFINITIONS(nex_TextException)
nex_TextException::~nex_TextException() = default;
atr_String nex_TextException::AsString() const { return m_Value; }

NEX_CONCRETE_DEFINITIONS(nex_AssertException)
nex_AssertException::~nex_AssertException() = default;
atr_String nex_AssertException::AsString() const { return m_Value; }

NEX_CONCRETE_DEFINITIONS(nex_BadCastException)
nex_BadCastException::~nex_BadCastException() = default;
atr_String nex_BadCastException::AsString() const { return m_Value; }

NEX_CONCRETE_DEFINITIONS(nex_InvalidObjException)
nex_InvalidObjException::~nex_InvalidObjException() = default;
atr_String nex_InvalidObjException::AsString() const { return m_Value; }

nex_CommandException::~nex_CommandException() = default;
atr_String nex_CommandException::AsString() const {
  atr_String s(PythonType());
  s.append(":");
  s.append(JournalMessage());
  return s;
}

NEX_CONCRETE_DEFINITIONS(nex_ExitException)
nex_ExitException::~nex_ExitException() = default;
atr_String nex_ExitException::AsString() const {
  if (!m_Value.m_Msg.IsEmpty()) return m_Value.m_Msg;
  return atr_String("Exit code: ").append(atr_String(m_Value.m_Err));
}

NEX_CONCRETE_DEFINITIONS(nex_SystemErrorException)
nex_SystemErrorException::~nex_SystemErrorException() = default;
atr_String nex_SystemErrorException::AsString() const { return m_Value.GetText(); }

NEX_CONCRETE_DEFINITIONS(nex_OutOfMemoryException)
nex_OutOfMemoryException::nex_OutOfMemoryException(const atr_String& msg, nex_OutOfMemoryErrEnm err)
    : m_Msg(msg), m_Err(err) {
  if (g_SessionAdvice) g_SessionAdvice->append(msg);
  if (g_GenericAdvice) g_GenericAdvice->append(msg);
}
nex_OutOfMemoryException::~nex_OutOfMemoryException() = default;
atr_String nex_OutOfMemoryException::AsString() const { return JournalMessage(); }
atr_String nex_OutOfMemoryException::JournalMessage() const {
  return g_SessionAdvice ? *g_SessionAdvice : atr_String();
}
cow_String nex_OutOfMemoryException::PythonType() const { return cow_String("OutOfMemory"); }
const atr_String* nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric() { return g_GenericAdvice; }
const atr_String* nex_OutOfMemoryException::GetOutOfMemoryMsgSession() { return g_SessionAdvice; }

// ============================================================== holders

template class cow_CountedHld<nex_Exception>;
template class cow_COW<nex_Exception, cow_Virtual<nex_Exception>>;
template class cow_CountedHld<nex_OutOfMemoryException>;
template class cow_COW<nex_OutOfMemoryException, cow_Virtual<nex_OutOfMemoryException>>;

// =========================================================== type checks

bool nex_canDynamicCastPtr(unsigned target, unsigned actual) {
  return target == actual || typ_ArchCompTable::IsParent(actual, target);
}

bool nex_canDynamicCastRef(unsigned target, unsigned actual, const char* file, int line) {
  if (nex_canDynamicCastPtr(target, actual)) return true;
  // The grave accent before the first name is the message's own.
  atr_translate t("Bad Cast: From `%s' To '%s'.");
  atr_SubstituteFormat(t, 1, typ_ArchCompTable::GetName(actual));
  atr_SubstituteFormat(t, 2, typ_ArchCompTable::GetName(target));
  nex_BadCastException(t.Result()).Throw(file, line);
}

bool nex_assertFormalize() { return false; }
void nex_formalize() {}
