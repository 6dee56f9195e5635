// What firmware shows, as the operation codes that forms are made of.
#pragma once

#include "images/setup/bytes.h"
#include "uefi/hii.h"

namespace xyl::images::setup {

// What every question has, in the order in which forms have it.
struct __attribute__((packed)) Question {
  EFI_STRING_ID prompt;
  EFI_STRING_ID help;
  EFI_QUESTION_ID id;
  UINT16 store = 0;       // 0: none; else where the value lies
  UINT16 offset = 0xFFFF; // in the store
  UINT8 flags = EFI_IFR_FLAG_CALLBACK;
};
static_assert(sizeof(Question) == 11);

class Forms {
public:
  void formSet(const EFI_GUID &id, EFI_STRING_ID title, EFI_STRING_ID help, const EFI_GUID &listedIn);
  void store(const EFI_GUID &id, UINT16 number, UINT16 size, const CHAR8 *name);
  void form(EFI_FORM_ID id, EFI_STRING_ID title);
  void subtitle(EFI_STRING_ID prompt, EFI_STRING_ID help);
  // Two columns, or one when the second is 0.
  void text(EFI_STRING_ID prompt, EFI_STRING_ID help, EFI_STRING_ID second);
  void reference(const Question &question, EFI_FORM_ID form);
  void action(const Question &question);
  void checkbox(const Question &question);
  // Of 1 or 8 bytes.
  void number(const Question &question, UINTN size, UINT64 least, UINT64 most);
  void oneOf(const Question &question, UINTN size); // options, and end
  void option(EFI_STRING_ID text, UINTN size, UINT64 value, bool isDefault);
  void string(const Question &question, UINT8 most);
  // Of the question before; of a number or checkbox that was begun with withDefault.
  void grayOutIf(EFI_QUESTION_ID question, UINT16 value); // what it holds for, and end
  void end();
  // The next number or checkbox keeps its scope open: a default, and end.
  void keepOpen() { scope_ = true; }
  void defaultValue(UINT8 type, UINTN size, UINT64 value);

  void finish(Bytes *list);
  bool failed() const { return bytes_.failed(); }

private:
  void begin(UINT8 code, UINTN length, bool hasScope);
  void question(UINT8 code, UINTN length, bool hasScope, const Question &question);
  void value(UINTN size, UINT64 value) { bytes_.put(&value, size); }
  bool takeScope();

  Bytes bytes_;
  bool scope_ = false;
};

// The code of a number's size.
UINT8 sizeCode(UINTN size);

} // namespace xyl::images::setup
