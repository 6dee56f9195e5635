#include "tests/images/setup/browser.h"

#include "images/setup/setup.h"
#include "uefi/protocols.h"

using namespace xyl;

static Browser *g_browser;
static constexpr EFI_GUID g_databaseGuid = EFI_HII_DATABASE_PROTOCOL_GUID;
static constexpr EFI_GUID g_stringGuid = EFI_HII_STRING_PROTOCOL_GUID;
static constexpr EFI_GUID g_routingGuid = EFI_HII_CONFIG_ROUTING_PROTOCOL_GUID;
static constexpr EFI_GUID g_accessGuid = EFI_HII_CONFIG_ACCESS_PROTOCOL_GUID;
static constexpr EFI_GUID g_pathGuid = EFI_DEVICE_PATH_PROTOCOL_GUID;

struct Browser::List {
  EFI_HANDLE driver;
  std::string guid;
  Screens screens;
  bool isReplaced = false;
  std::map<EFI_STRING_ID, std::u16string> typed; // texts that the browser adds
};

static Screens read(const EFI_HII_PACKAGE_LIST_HEADER *list) {
  Screens screens = readScreens(reinterpret_cast<const uint8_t *>(list), list->Length, g_browser->checksTexts);
  EXPECT_EQ(screens.mistakes, std::vector<std::string>{});
  return screens;
}

// --- The protocols ---

EFI_STATUS EFIAPI Browser::newList(EFI_HII_DATABASE_PROTOCOL *, const EFI_HII_PACKAGE_LIST_HEADER *list,
                                   EFI_HANDLE driver, EFI_HII_HANDLE *handle) {
  auto made = std::make_unique<List>();
  made->driver = driver;
  made->screens = read(list);
  *handle = made.get();
  g_browser->lists_.push_back(std::move(made));
  return EFI_SUCCESS;
}

EFI_STATUS EFIAPI Browser::removeList(EFI_HII_DATABASE_PROTOCOL *, EFI_HII_HANDLE handle) {
  auto &lists = g_browser->lists_;
  auto isIt = [&](auto &list) { return list.get() == handle; };
  EXPECT_TRUE(std::any_of(lists.begin(), lists.end(), isIt));
  lists.erase(std::remove_if(lists.begin(), lists.end(), isIt), lists.end());
  g_browser->current_ = g_browser->current_ == handle ? nullptr : g_browser->current_;
  return EFI_SUCCESS;
}

EFI_STATUS EFIAPI Browser::updateList(EFI_HII_DATABASE_PROTOCOL *, EFI_HII_HANDLE handle,
                                      const EFI_HII_PACKAGE_LIST_HEADER *list) {
  auto *updated = static_cast<List *>(handle);
  updated->screens = read(list);
  updated->isReplaced = true;
  updated->typed.clear();
  return EFI_SUCCESS;
}

EFI_STATUS EFIAPI Browser::getString(EFI_HII_STRING_PROTOCOL *, const CHAR8 *, EFI_HII_HANDLE handle, EFI_STRING_ID id,
                                     CHAR16 *text, UINTN *size, void *) {
  const std::u16string &found = static_cast<List *>(handle)->typed.at(id);
  UINTN wanted = (found.size() + 1) * sizeof(CHAR16);
  EFI_STATUS status = *size < wanted ? EFI_BUFFER_TOO_SMALL : EFI_SUCCESS;
  *size = wanted;
  if (!EFI_ERROR(status)) {
    std::memcpy(text, found.c_str(), wanted);
  }
  return status;
}

static std::string narrow(const CHAR16 *text) {
  std::string all;
  for (; *text != 0; ++text) {
    all += static_cast<char>(*text);
  }
  return all;
}

EFI_STATUS EFIAPI Browser::blockToConfig(EFI_HII_CONFIG_ROUTING_PROTOCOL *, const CHAR16 *request, const UINT8 *block,
                                         UINTN size, CHAR16 **configuration, const CHAR16 **progress) {
  std::string text = narrow(request);
  std::regex element("&OFFSET=([0-9a-fA-F]+)&WIDTH=([0-9a-fA-F]+)");
  std::string answer = text.substr(0, text.find("&OFFSET="));
  for (std::sregex_iterator i(text.begin(), text.end(), element), end; i != end; ++i) {
    size_t offset = std::stoul((*i)[1], nullptr, 16), width = std::stoul((*i)[2], nullptr, 16);
    EXPECT_LE(offset + width, size);
    answer += (*i)[0].str() + "&VALUE=";
    for (size_t at = width; at-- > 0;) {
      char digits[3];
      std::snprintf(digits, sizeof digits, "%02x", block[offset + at]);
      answer += digits;
    }
  }
  void *memory = nullptr;
  EFI_STATUS status = g_browser->world_.services->AllocatePool(4, (answer.size() + 1) * sizeof(CHAR16), &memory);
  if (!EFI_ERROR(status)) {
    std::u16string units(answer.begin(), answer.end());
    std::memcpy(memory, units.c_str(), (units.size() + 1) * sizeof(CHAR16));
    *configuration = static_cast<CHAR16 *>(memory);
    *progress = request + text.size();
  }
  return status;
}

EFI_STATUS EFIAPI Browser::configToBlock(EFI_HII_CONFIG_ROUTING_PROTOCOL *, const CHAR16 *configuration, UINT8 *block,
                                         UINTN *size, const CHAR16 **progress) {
  std::string text = narrow(configuration);
  std::regex element("&OFFSET=([0-9a-fA-F]+)&WIDTH=([0-9a-fA-F]+)&VALUE=([0-9a-fA-F]+)");
  for (std::sregex_iterator i(text.begin(), text.end(), element), end; i != end; ++i) {
    size_t offset = std::stoul((*i)[1], nullptr, 16), width = std::stoul((*i)[2], nullptr, 16);
    EXPECT_LE(offset + width, *size);
    for (size_t at = 0; at < width; ++at) {
      std::string value = (*i)[3];
      block[offset + at] = static_cast<UINT8>(std::stoul(value.substr(value.size() - 2 * at - 2, 2), nullptr, 16));
    }
  }
  *progress = configuration + text.size();
  return EFI_SUCCESS;
}

Browser::Browser(World &world)
    : world_(world), database_{newList, removeList, updateList, {}}, strings_{nullptr, getString, {}},
      routing_{{}, blockToConfig, configToBlock, nullptr} {
  g_browser = this;
  EXPECT_EQ(
      world.services->InstallMultipleProtocolInterfaces(&handle_, &g_databaseGuid, static_cast<void *>(&database_),
                                                        &g_stringGuid, static_cast<void *>(&strings_), &g_routingGuid,
                                                        static_cast<void *>(&routing_), static_cast<void *>(nullptr)),
      EFI_SUCCESS);
  EXPECT_EQ(name(world.firmware.loadImage(images::setup::RaidSetupEntry, &image_)), name(EFI_SUCCESS));
}

Browser::~Browser() {
  close(); // an open page would not let the image go
  EXPECT_EQ(name(world_.firmware.unloadImage(image_)), name(EFI_SUCCESS));
  EXPECT_TRUE(lists_.empty());
  EXPECT_EQ(world_.services->UninstallMultipleProtocolInterfaces(
                handle_, &g_databaseGuid, static_cast<void *>(&database_), &g_stringGuid,
                static_cast<void *>(&strings_), &g_routingGuid, static_cast<void *>(&routing_),
                static_cast<void *>(nullptr)),
            EFI_SUCCESS);
}

EFI_STATUS Browser::connect(EFI_HANDLE controller) {
  EFI_HANDLE only[] = {image_, nullptr};
  return world_.services->ConnectController(controller, only, nullptr, 0);
}

std::vector<std::string> Browser::titles() const {
  std::vector<std::string> all;
  for (auto &list : lists_) {
    all.push_back(list->screens.text(list->screens.title, language));
  }
  return all;
}

// --- Calls of the page ---

Browser::List &Browser::current() const {
  EXPECT_NE(current_, nullptr);
  return *current_;
}

const Screens &Browser::screens(size_t page) const {
  return current_ != nullptr ? current_->screens : lists_.at(page)->screens;
}

EFI_STATUS Browser::call(UINTN action, const ScreenLine &line, void *value, UINTN *request) {
  auto *access = world_.protocolOn<EFI_HII_CONFIG_ACCESS_PROTOCOL>(current().driver, g_accessGuid);
  uint64_t none[4] = {};
  return access->Callback(access, action, line.question, 0, value != nullptr ? value : none, request);
}

// Every question of the form that is shown which wants to be called; the form may be replaced meanwhile.
void Browser::each(UINTN action) {
  std::vector<ScreenLine> lines = current().screens.forms[form_].lines;
  for (const ScreenLine &line : lines) {
    if (current_ != nullptr && (line.flags & 4) != 0) {
      call(action, line);
    }
  }
}

// What firmware does with forms that are new to it.
void Browser::parse() {
  current().isReplaced = false;
  std::map<uint16_t, ScreenForm> forms = current().screens.forms;
  for (auto &[id, form] : forms) {
    for (const ScreenLine &line : form.lines) {
      uint64_t value[4] = {};
      if ((line.flags & 4) != 0 && EFI_ERROR(call(2, line, value))) {
        call(0x1000, line, value);
      }
    }
  }
}

void Browser::parseAgain() {
  if (current_ != nullptr && current_->isReplaced) {
    parse();
    EXPECT_FALSE(current_->isReplaced) << "the page is drawn again and again";
  }
}

std::u16string Browser::header() const {
  // The store's identity, name and the page's path, as firmware writes them.
  static const uint8_t store[] = {0x71, 0xe9, 0x99, 0x38, 0xfb, 0x1d, 0x2e, 0x4d,
                                  0x84, 0x54, 0x52, 0xa0, 0x2b, 0x13, 0x83, 0xa8};
  std::string text = "GUID=";
  char digits[5];
  for (uint8_t byte : store) {
    std::snprintf(digits, sizeof digits, "%02x", byte);
    text += digits;
  }
  text += "&NAME=";
  for (char c : std::string("RaidSettings")) {
    std::snprintf(digits, sizeof digits, "%04x", c);
    text += digits;
  }
  text += "&PATH=00";
  return {text.begin(), text.end()};
}

void Browser::extract() {
  auto *access = world_.protocolOn<EFI_HII_CONFIG_ACCESS_PROTOCOL>(current().driver, g_accessGuid);
  std::u16string request = header() + u"&OFFSET=0&WIDTH=0010";
  const CHAR16 *progress = nullptr;
  CHAR16 *results = nullptr;
  if (EFI_ERROR(access->ExtractConfig(access, request.c_str(), &progress, &results))) {
    EXPECT_EQ(results, nullptr);
    return;
  }
  UINTN size = sizeof block_;
  configToBlock(nullptr, results, block_, &size, &progress);
  world_.services->FreePool(results);
}

void Browser::show(uint16_t form) {
  form_ = form;
  each(3);
  if (current_ != nullptr) {
    parseAgain();
    each(2);
  }
}

void Browser::open(size_t page) {
  close();
  current_ = lists_.at(page).get();
  parents_.clear();
  parse();
  extract();
  show(1);
}

const ScreenLine &Browser::find(const std::string &prompt) const {
  static const ScreenLine none{};
  const Screens &all = current().screens;
  for (const ScreenLine &line : all.forms.at(form_).lines) {
    if (line.question != 0 && all.text(line.prompt).compare(0, prompt.size(), prompt) == 0) {
      return line;
    }
  }
  return none;
}

bool Browser::has(const std::string &prompt) const {
  return find(prompt).question != 0;
}

void Browser::enter(const std::string &prompt) {
  ScreenLine line = find(prompt);
  ASSERT_EQ(line.code, 0x0F) << prompt << "\n" << shown();
  EFI_STATUS status = call(0, line);
  if (EFI_ERROR(status)) {
    return;
  }
  each(4);
  parents_.push_back(form_);
  parseAgain();
  show(line.form);
}

void Browser::back() {
  each(4);
  if (parents_.empty()) {
    current_ = nullptr;
    return;
  }
  uint16_t parent = parents_.back();
  parents_.pop_back();
  show(parent);
}

void Browser::change(const ScreenLine &line, uint64_t value) {
  UINTN request = 0;
  if (EFI_ERROR(call(0, line, &value))) {
    return;
  }
  if (current_ == nullptr) {
    return;
  }
  call(1, line, &value, &request);
  if (current_ == nullptr) {
    return;
  }
  parseAgain();
  if (request == 5) {
    back();
  }
}

void Browser::press(const std::string &prompt) {
  ScreenLine line = find(prompt);
  ASSERT_EQ(line.code, 0x0C) << prompt << "\n" << shown();
  if (line.grayUnless != 0) {
    uint64_t value[4] = {};
    ScreenLine asked;
    asked.question = line.grayUnless;
    call(2, asked, value);
    if (value[0] == 0) {
      return; // out of reach
    }
  }
  change(line, 0);
}

void Browser::set(const std::string &prompt, uint64_t value) {
  ScreenLine line = find(prompt);
  ASSERT_NE(line.question, 0) << prompt << "\n" << shown();
  if (line.store != 0) {
    std::memcpy(block_ + line.offset, &value, line.size);
    return;
  }
  change(line, value);
}

void Browser::choose(const std::string &prompt, const std::string &option) {
  ScreenLine line = find(prompt);
  for (auto &[text, value] : line.options) {
    if (current().screens.text(text) == option) {
      return set(prompt, value);
    }
  }
  FAIL() << prompt << " has no " << option << "\n" << shown();
}

void Browser::type(const std::string &prompt, const std::string &text) {
  EFI_STRING_ID id = static_cast<EFI_STRING_ID>(current().screens.texts["en-US"].size() + 1);
  current().typed[id] = std::u16string(text.begin(), text.end());
  set(prompt, id);
}

// --- Stored values ---

EFI_STATUS Browser::save() {
  auto *access = world_.protocolOn<EFI_HII_CONFIG_ACCESS_PROTOCOL>(current().driver, g_accessGuid);
  std::string text;
  for (auto &line : current().screens.forms[form_].lines) {
    if (line.store != 0) {
      char element[64];
      std::snprintf(element, sizeof element, "&OFFSET=%04x&WIDTH=0001&VALUE=%02x", line.offset, block_[line.offset]);
      text += element;
    }
  }
  std::u16string all = header() + std::u16string(text.begin(), text.end());
  const CHAR16 *progress = nullptr;
  EFI_STATUS status = access->RouteConfig(access, all.c_str(), &progress);
  EXPECT_EQ(progress, EFI_ERROR(status) ? all.c_str() : all.c_str() + all.size());
  return status;
}

void Browser::takeDefaults() {
  std::map<uint16_t, ScreenForm> forms = current().screens.forms;
  for (auto &[id, form] : forms) {
    for (const ScreenLine &line : form.lines) {
      uint64_t value[4] = {};
      if ((line.flags & 4) != 0) {
        call(0x1000, line, value);
      } else if (line.store != 0) {
        std::memcpy(block_ + line.offset, &line.byDefault, line.size);
      }
    }
  }
}

EFI_STATUS Browser::setKeyword(const std::string &keyword, uint8_t value) {
  const Screens &all = screens();
  for (auto &[id, form] : all.forms) {
    for (const ScreenLine &line : form.lines) {
      if (line.store != 0 && all.text(line.prompt, "x-UEFI-redfish-StorageController.v1_7_0") == keyword) {
        auto *access = world_.protocolOn<EFI_HII_CONFIG_ACCESS_PROTOCOL>(lists_.at(0)->driver, g_accessGuid);
        char element[64];
        std::snprintf(element, sizeof element, "&OFFSET=%x&WIDTH=1&VALUE=%02x", line.offset, value);
        std::string text = element;
        std::u16string configuration = header() + std::u16string(text.begin(), text.end());
        const CHAR16 *progress = nullptr;
        return access->RouteConfig(access, configuration.c_str(), &progress);
      }
    }
  }
  return EFI_NOT_FOUND;
}

void Browser::close() {
  while (current_ != nullptr) {
    back();
  }
}

std::string Browser::path(size_t page) const {
  auto *path = world_.protocolOn<uint8_t>(lists_.at(page)->driver, g_pathGuid);
  size_t size = 0;
  while (path[size] != 0x7F) {
    size += path[size + 2] | static_cast<size_t>(path[size + 3]) << 8;
  }
  return std::string(reinterpret_cast<const char *>(path), size);
}

// --- What is seen ---

std::vector<std::string> Browser::lines() {
  const Screens &all = screens();
  std::vector<std::string> seen;
  for (const ScreenLine &line : all.forms.at(form_).lines) {
    std::string text = all.text(line.prompt, language);
    std::string value = all.text(line.second, language);
    uint64_t now[4] = {};
    if (line.store != 0) {
      std::memcpy(now, block_ + line.offset, line.size);
    } else if (line.question != 0 && line.code != 0x0F && line.code != 0x0C) {
      call(2, line, now);
    }
    for (auto &[option, number] : line.options) {
      value = number == now[0] ? all.text(option, language) : value;
    }
    if (line.code == 0x06) {
      value = now[0] != 0 ? "[X]" : "[ ]";
    } else if (line.code == 0x07) {
      value = std::to_string(now[0]);
    } else if (line.code == 0x1C) {
      value = all.text(static_cast<uint16_t>(now[0]), language);
    }
    seen.push_back(value.empty() ? text : text + ": " + value);
  }
  return seen;
}

std::string Browser::shown() {
  std::string all;
  for (const std::string &line : lines()) {
    all += line + "\n";
  }
  return all;
}

std::string Browser::title() const {
  const Screens &all = screens();
  return all.text(all.forms.at(form_).title, language);
}
