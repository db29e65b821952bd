#include "cow/cow_String.h"

cow_String& cow_String::operator=(const char* s) {
  atr_StringBase::operator=(s);
  return *this;
}
