// A firmware's setup: keeps the lists of packages, and calls a page in the order in which firmware does while a person
// goes through it.
#pragma once

#include <memory>

#include "tests/images/setup/screens.h"
#include "tests/support/world.h"
#include "uefi/hii.h"

class Browser {
public:
  // Publishes the protocols of the human interface, and loads the image under test.
  explicit Browser(World &world);
  Browser(const Browser &) = delete;
  Browser &operator=(const Browser &) = delete;
  ~Browser();

  EFI_STATUS connect(EFI_HANDLE controller);
  // The pages that there are, by their titles.
  std::vector<std::string> titles() const;

  // From Device Manager into the page of that number.
  void open(size_t page = 0);
  // By the beginning of a line's prompt: a line that leads on, one that does something, a value.
  void enter(const std::string &prompt);
  void press(const std::string &prompt);
  void set(const std::string &prompt, uint64_t value);
  void choose(const std::string &prompt, const std::string &option);
  void type(const std::string &prompt, const std::string &text);
  void back();
  // F10, with what was set; and F9.
  EFI_STATUS save();
  void takeDefaults();
  // A question that programs reach by its keyword.
  EFI_STATUS setKeyword(const std::string &keyword, uint8_t value);

  bool isOpen() const { return current_ != nullptr; }
  // Out of the page, from wherever.
  void close();
  std::string path(size_t page) const; // device path, in bytes

  bool has(const std::string &prompt) const;
  // The lines of the form that is shown: "prompt" or "prompt: value".
  std::vector<std::string> lines();
  std::string shown(); // in one text
  std::string title() const;
  uint16_t form() const { return form_; }
  const Screens &screens(size_t page = 0) const;
  std::string language = "en-US";
  bool checksTexts = true;

private:
  struct List;

  static EFI_STATUS EFIAPI newList(EFI_HII_DATABASE_PROTOCOL *, const EFI_HII_PACKAGE_LIST_HEADER *, EFI_HANDLE,
                                   EFI_HII_HANDLE *);
  static EFI_STATUS EFIAPI removeList(EFI_HII_DATABASE_PROTOCOL *, EFI_HII_HANDLE);
  static EFI_STATUS EFIAPI updateList(EFI_HII_DATABASE_PROTOCOL *, EFI_HII_HANDLE, const EFI_HII_PACKAGE_LIST_HEADER *);
  static EFI_STATUS EFIAPI getString(EFI_HII_STRING_PROTOCOL *, const CHAR8 *, EFI_HII_HANDLE, EFI_STRING_ID, CHAR16 *,
                                     UINTN *, void *);
  static EFI_STATUS EFIAPI blockToConfig(EFI_HII_CONFIG_ROUTING_PROTOCOL *, const CHAR16 *, const UINT8 *, UINTN,
                                         CHAR16 **, const CHAR16 **);
  static EFI_STATUS EFIAPI configToBlock(EFI_HII_CONFIG_ROUTING_PROTOCOL *, const CHAR16 *, UINT8 *, UINTN *,
                                         const CHAR16 **);

  List &current() const;
  const ScreenLine &find(const std::string &prompt) const;
  EFI_STATUS call(UINTN action, const ScreenLine &line, void *value = nullptr, UINTN *request = nullptr);
  void each(UINTN action);
  void parse();
  void parseAgain();
  void show(uint16_t form);
  void change(const ScreenLine &line, uint64_t value);
  std::u16string header() const;
  void extract();

  World &world_;
  EFI_HANDLE image_ = nullptr;
  EFI_HANDLE handle_ = nullptr;
  EFI_HII_DATABASE_PROTOCOL database_;
  EFI_HII_STRING_PROTOCOL strings_;
  EFI_HII_CONFIG_ROUTING_PROTOCOL routing_;
  std::vector<std::unique_ptr<List>> lists_;
  List *current_ = nullptr;
  uint16_t form_ = 0;
  std::vector<uint16_t> parents_;
  uint8_t block_[16] = {};
};
