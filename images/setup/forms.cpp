#include "images/setup/forms.h"

#include "base/text.h"

namespace xyl::images::setup {

constexpr UINTN questionSize = 2 + sizeof(Question);

UINT8 sizeCode(UINTN size) {
  switch (size) {
  case 1:
    return EFI_IFR_TYPE_NUM_SIZE_8;
  case 4:
    return EFI_IFR_TYPE_NUM_SIZE_32;
  default:
    return EFI_IFR_TYPE_NUM_SIZE_64;
  }
}

void Forms::begin(UINT8 code, UINTN length, bool hasScope) {
  bytes_.put(code);
  bytes_.put(static_cast<UINT8>(length | (hasScope ? EFI_IFR_SCOPE : 0)));
}

void Forms::question(UINT8 code, UINTN length, bool hasScope, const Question &question) {
  begin(code, length, hasScope);
  bytes_.put(question);
}

bool Forms::takeScope() {
  bool scope = scope_;
  scope_ = false;
  return scope;
}

void Forms::formSet(const EFI_GUID &id, EFI_STRING_ID title, EFI_STRING_ID help, const EFI_GUID &listedIn) {
  begin(EFI_IFR_FORM_SET_OP, 23 + sizeof(EFI_GUID), /* hasScope= */ true);
  bytes_.put(id);
  bytes_.put(title);
  bytes_.put(help);
  bytes_.put(UINT8{1});
  bytes_.put(listedIn);
  begin(EFI_IFR_DEFAULTSTORE_OP, 6, /* hasScope= */ false); // the standard one, without which no default counts
  bytes_.put(title);
  bytes_.put(UINT16{0});
}

void Forms::store(const EFI_GUID &id, UINT16 number, UINT16 size, const CHAR8 *name) {
  UINTN nameSize = textLength(name) + 1;
  begin(EFI_IFR_VARSTORE_OP, 22 + nameSize, /* hasScope= */ false);
  bytes_.put(id);
  bytes_.put(number);
  bytes_.put(size);
  bytes_.put(name, nameSize);
}

void Forms::form(EFI_FORM_ID id, EFI_STRING_ID title) {
  begin(EFI_IFR_FORM_OP, 6, /* hasScope= */ true);
  bytes_.put(id);
  bytes_.put(title);
}

void Forms::subtitle(EFI_STRING_ID prompt, EFI_STRING_ID help) {
  begin(EFI_IFR_SUBTITLE_OP, 7, /* hasScope= */ false);
  bytes_.put(prompt);
  bytes_.put(help);
  bytes_.put(UINT8{0});
}

void Forms::text(EFI_STRING_ID prompt, EFI_STRING_ID help, EFI_STRING_ID second) {
  begin(EFI_IFR_TEXT_OP, 8, /* hasScope= */ false);
  const EFI_STRING_ID ids[] = {prompt, help, second};
  bytes_.put(ids);
}

void Forms::reference(const Question &wanted, EFI_FORM_ID form) {
  question(EFI_IFR_REF_OP, questionSize + 2, /* hasScope= */ false, wanted);
  bytes_.put(form);
}

void Forms::action(const Question &wanted) {
  question(EFI_IFR_ACTION_OP, questionSize + 2, /* hasScope= */ false, wanted);
  bytes_.put(EFI_STRING_ID{0});
}

void Forms::checkbox(const Question &wanted) {
  question(EFI_IFR_CHECKBOX_OP, questionSize + 1, takeScope(), wanted);
  bytes_.put(UINT8{0});
}

void Forms::number(const Question &wanted, UINTN size, UINT64 least, UINT64 most) {
  question(EFI_IFR_NUMERIC_OP, questionSize + 1 + 3 * size, takeScope(), wanted);
  bytes_.put(static_cast<UINT8>(sizeCode(size) | EFI_IFR_UINT_DECIMAL));
  value(size, least);
  value(size, most);
  value(size, 1);
}

void Forms::oneOf(const Question &wanted, UINTN size) {
  question(EFI_IFR_ONE_OF_OP, questionSize + 1 + 3 * size, /* hasScope= */ true, wanted);
  bytes_.put(sizeCode(size));
  const UINT64 range[3] = {};
  bytes_.put(range, 3 * size);
}

void Forms::option(EFI_STRING_ID text, UINTN size, UINT64 wanted, bool isDefault) {
  begin(EFI_IFR_ONE_OF_OPTION_OP, 6 + size, /* hasScope= */ false);
  bytes_.put(text);
  bytes_.put(static_cast<UINT8>(isDefault ? EFI_IFR_OPTION_DEFAULT : 0));
  bytes_.put(sizeCode(size));
  value(size, wanted);
}

void Forms::string(const Question &wanted, UINT8 most) {
  question(EFI_IFR_STRING_OP, questionSize + 3, /* hasScope= */ false, wanted);
  const UINT8 limits[] = {0, most, 0};
  bytes_.put(limits);
}

void Forms::defaultValue(UINT8 type, UINTN size, UINT64 wanted) {
  begin(EFI_IFR_DEFAULT_OP, 5 + size, /* hasScope= */ false);
  bytes_.put(UINT16{0});
  bytes_.put(type);
  value(size, wanted);
}

void Forms::grayOutIf(EFI_QUESTION_ID asked, UINT16 wanted) {
  begin(EFI_IFR_GRAY_OUT_IF_OP, 2, /* hasScope= */ true);
  begin(EFI_IFR_EQ_ID_VAL_OP, 6, /* hasScope= */ false);
  const UINT16 words[] = {asked, wanted};
  bytes_.put(words);
}

void Forms::end() {
  begin(EFI_IFR_END_OP, 2, /* hasScope= */ false);
}

void Forms::finish(Bytes *list) {
  UINTN size = sizeof(EFI_HII_PACKAGE_HEADER) + bytes_.size();
  if (bytes_.failed() || size > EFI_HII_PACKAGE_SIZE_MAX) {
    list->fail();
    return;
  }
  list->put(static_cast<UINT32>(size | EFI_HII_PACKAGE_FORMS << EFI_HII_PACKAGE_TYPE_SHIFT));
  list->put(bytes_.data(), bytes_.size());
}

} // namespace xyl::images::setup
