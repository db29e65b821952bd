// Message translation: look a message text up in the loaded catalog (the text
// itself when there is none, or when it is not listed), then fill its
// placeholders with atr_SubstituteFormat and read the result.
//
//   atr_translate t("*** Error: Read failed (utl_File: %1$s)\nfile: %2$s");
//   atr_SubstituteFormat(t, 1, label);
//   atr_SubstituteFormat(t, 2, fileName);
//   atr_String text = t.Result();
//
// Placeholders: "%N$s" and "%N$d" (N from 1 to 9) take argument N; plain
// "%s", "%d" and "%u" take the arguments in order 1, 2, 3...; "%%" is a
// percent sign. A placeholder whose argument was never given stays as it is.
#pragma once

#include "atr/atr_String.h"

class VNKUTI_CORE_API atr_translate {
 public:
  explicit atr_translate(const char* message);
  atr_String Result() const;
  const atr_String& Template() const { return m_Template; }

  static constexpr int MaxArgs = 9;

 private:
  friend void atr_setTranslateArg(atr_translate&, int, const atr_StringBase&);
  atr_String m_Template;
  atr_String m_Args[MaxArgs];
  unsigned m_Given = 0;  // bit i: argument i + 1 was given
};

VNKUTI_CORE_API void atr_SubstituteFormat(atr_translate& t, int index, const char* value);
VNKUTI_CORE_API void atr_SubstituteFormat(atr_translate& t, int index, const atr_StringBase& value);
VNKUTI_CORE_API void atr_SubstituteFormat(atr_translate& t, int index, int value);
VNKUTI_CORE_API void atr_SubstituteFormat(atr_translate& t, int index, unsigned int value);

// The catalog: a text file of lines "message<TAB>translation"; "\n", "\t" and
// "\\" are escapes in both parts; empty lines and lines starting with '#' are
// skipped. Loading replaces the catalog in use. Returns false (and keeps the
// old catalog) when the file cannot be read or a line has no tab. Load and
// clear while no other thread translates.
VNKUTI_CORE_API bool atr_loadTranslationCatalog(const char* path);
VNKUTI_CORE_API void atr_clearTranslationCatalog();
VNKUTI_CORE_API int atr_translationCatalogSize();
