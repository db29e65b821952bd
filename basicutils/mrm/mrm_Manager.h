// mrm_Manager: the memory resource manager's process-wide instance.
//
// Memory is accounted under labels: each label has a kind, a name and a byte
// count that callers charge and release. A label printer, registered per
// kind, turns a label into one line of text for reports; mrm_initialize
// registers the library's printers for the kinds below (1, 2, 3, then 0).
//
// The instance is made on first use of Instance() and destroyed by
// mrm_finalize. Labels are added and charged by one thread at a time.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "atr/atr_String.h"
#include "mem/mem_AllocationOperators.h"

class aio_ostream;

enum mrm_LabelKind {
  mrm_LabelPlain = 0,  // any other accounted memory
  mrm_LabelPool = 1,   // block storage of a memory pool
  mrm_LabelCache = 2,  // memory held by the cache manager
  mrm_LabelPhase = 3,  // memory of one phase of the schedule
};

struct VNKUTI_BASIC_API mrm_Label {
  int m_Kind;
  atr_String m_Name;
  long long m_Bytes;  // currently charged
  long long m_Peak;   // largest m_Bytes seen
};

// Renders a label as one line of text, without the line feed.
typedef atr_String (*mrm_LabelPrinter)(const mrm_Label& label);

class VNKUTI_BASIC_API mrm_Manager : public mem_AllocationOperators {
 public:
  static constexpr int MaxLabelKinds = 8;

  // ----- the instance -------------------------------------------------
  static mrm_Manager& Instance();  // made on first use
  static mrm_Manager* Peek();      // null when there is none
  static void Destroy();           // mrm_finalize

  mrm_Manager();
  ~mrm_Manager();
  mrm_Manager(const mrm_Manager&) = delete;
  mrm_Manager& operator=(const mrm_Manager&) = delete;

  // ----- printers -----------------------------------------------------
  // Sets the printer of a kind, replacing any earlier one; kinds outside
  // 0 .. MaxLabelKinds - 1 are ignored.
  void RegisterLabelPrinter(int labelKind, mrm_LabelPrinter printer);
  mrm_LabelPrinter GetLabelPrinter(int labelKind) const;  // null if none

  // ----- labels -------------------------------------------------------
  // Adds a label with no bytes charged; returns its number (from 0).
  int AddLabel(int labelKind, const char* name);
  int LabelCount() const { return m_Count; }
  const mrm_Label& GetLabel(int label) const { return m_Labels[label]; }
  // Adds bytes (negative: releases them) to a label.
  void Charge(int label, long long bytes);
  // The label's line by its kind's printer; "<name>: <bytes>" without one.
  atr_String Render(int label) const;
  // Every label's line, each followed by a line feed.
  void Report(aio_ostream& out) const;

 private:
  mrm_LabelPrinter m_Printers[MaxLabelKinds] = {};
  mrm_Label* m_Labels = nullptr;
  int m_Count = 0;
  int m_Capacity = 0;
};
