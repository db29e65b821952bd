// pnt_PrettyPrint: an indenting text printer for diagnostics.
//
// Text goes to an aio_ostream, by default the error stream: a printer made
// without a stream asks aio_cerr() at every write, so it follows a stream put
// in place with aio_setCerr. Every line starts with two spaces per indentation
// level, written when the line's first text arrives (so an empty line stays
// empty).
//
// Writers that know only bytes drive the printer with two-byte control
// sequences given to prettyprint(text, 2): ESC 'n' ends the line, ESC 't'
// indents one level more, ESC 'u' one level less (ESC is 0x1B). Any other text
// is printed as it stands.
//
// pnt_debugPrint() is the process's printer, made on first use and destroyed
// by pnt_finalize. A printer is used by one thread at a time.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "atr/atr_StringBase.h"
#include "mem/mem_AllocationOperators.h"

class aio_ostream;

class VNKUTI_BASIC_API pnt_PrettyPrint : public mem_AllocationOperators {
 public:
  static constexpr char Esc = 0x1B;
  // The control sequences, each exactly two bytes long.
  static constexpr char NewLineSeq[3] = {Esc, 'n', 0};
  static constexpr char IndentSeq[3] = {Esc, 't', 0};
  static constexpr char OutdentSeq[3] = {Esc, 'u', 0};

  // ----- constructors ---------------------------------------------------
  // Writes to out, which must outlive the printer; null means aio_cerr().
  explicit pnt_PrettyPrint(aio_ostream* out = nullptr);
  virtual ~pnt_PrettyPrint();
  pnt_PrettyPrint(const pnt_PrettyPrint&) = delete;
  pnt_PrettyPrint& operator=(const pnt_PrettyPrint&) = delete;

  // ----- control --------------------------------------------------------
  // Prints length bytes of text, or acts on it when it is one of the control
  // sequences above.
  void prettyprint(const char* text, unsigned int length);
  void NewLine();
  void Indent();
  void Outdent();  // never below level 0
  int IndentLevel() const { return m_Level; }
  // Prints title, ends the line and indents; EndBlock outdents, prints
  // closing and ends the line.
  void BeginBlock(const char* title);
  void EndBlock(const char* closing);
  void Flush();

  // ----- scalars --------------------------------------------------------
  pnt_PrettyPrint& operator<<(const char* s);  // null prints nothing
  pnt_PrettyPrint& operator<<(const atr_StringBase& s);
  pnt_PrettyPrint& operator<<(char c);
  pnt_PrettyPrint& operator<<(unsigned char v);  // as a number
  pnt_PrettyPrint& operator<<(short v);
  pnt_PrettyPrint& operator<<(unsigned short v);
  pnt_PrettyPrint& operator<<(int v);
  pnt_PrettyPrint& operator<<(unsigned int v);
  pnt_PrettyPrint& operator<<(float v);   // shortest text that reads back the same value
  pnt_PrettyPrint& operator<<(double v);
  pnt_PrettyPrint& operator<<(bool v);    // 1 or 0

 private:
  aio_ostream& Out() const;
  void Text(const char* p, unsigned int n);

  aio_ostream* m_Out;
  int m_Level = 0;
  bool m_AtLineStart = true;
};

// The process's debug printer (on the error stream), made on first use.
VNKUTI_BASIC_API pnt_PrettyPrint& pnt_debugPrint();
// Whether pnt_debugPrint() has made its printer since pnt_initialize.
VNKUTI_BASIC_API bool pnt_debugPrintExists();
