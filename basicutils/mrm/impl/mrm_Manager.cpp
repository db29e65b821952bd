#include "mrm/mrm_Manager.h"

#include <new>

#include "aio/aio_ostream.h"
#include "mem/mem_Alloc.h"

namespace {
// Made during start-up or on first use; destroyed by mrm_finalize.
constinit mrm_Manager* g_Instance = nullptr;

atr_String Bytes(long long n) {
  atr_String s(n);
  s.append(" bytes");
  return s;
}
}  // namespace

mrm_Manager& mrm_Manager::Instance() {
  if (g_Instance == nullptr) g_Instance = new mrm_Manager();
  return *g_Instance;
}

mrm_Manager* mrm_Manager::Peek() { return g_Instance; }

void mrm_Manager::Destroy() {
  delete g_Instance;
  g_Instance = nullptr;
}

mrm_Manager::mrm_Manager() = default;

mrm_Manager::~mrm_Manager() {
  for (int i = 0; i < m_Count; ++i) m_Labels[i].~mrm_Label();
  mem_Free(m_Labels);
}

void mrm_Manager::RegisterLabelPrinter(int labelKind, mrm_LabelPrinter printer) {
  if (labelKind >= 0 && labelKind < MaxLabelKinds) m_Printers[labelKind] = printer;
}

mrm_LabelPrinter mrm_Manager::GetLabelPrinter(int labelKind) const {
  return labelKind >= 0 && labelKind < MaxLabelKinds ? m_Printers[labelKind] : nullptr;
}

int mrm_Manager::AddLabel(int labelKind, const char* name) {
  if (m_Count == m_Capacity) {
    int capacity = m_Capacity ? m_Capacity * 2 : 16;
    auto* grown = static_cast<mrm_Label*>(mem_OperatorNewThrow(sizeof(mrm_Label) * capacity));
    // Moving strings cannot throw, so the old array is never half moved.
    for (int i = 0; i < m_Count; ++i) {
      new (&grown[i]) mrm_Label(static_cast<mrm_Label&&>(m_Labels[i]));
      m_Labels[i].~mrm_Label();
    }
    mem_Free(m_Labels);
    m_Labels = grown;
    m_Capacity = capacity;
  }
  new (&m_Labels[m_Count]) mrm_Label{labelKind, atr_String(name), 0, 0};
  return m_Count++;
}

void mrm_Manager::Charge(int label, long long bytes) {
  mrm_Label& l = m_Labels[label];
  l.m_Bytes += bytes;
  if (l.m_Bytes > l.m_Peak) l.m_Peak = l.m_Bytes;
}

atr_String mrm_Manager::Render(int label) const {
  const mrm_Label& l = m_Labels[label];
  if (mrm_LabelPrinter p = GetLabelPrinter(l.m_Kind)) return p(l);
  return l.m_Name + ": " + Bytes(l.m_Bytes);
}

void mrm_Manager::Report(aio_ostream& out) const {
  for (int i = 0; i < m_Count; ++i) out << Render(i) << '\n';
}
