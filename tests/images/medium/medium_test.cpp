// The front of boot media.
#include <regex>

#include "tests/images/medium/machine.h"

#if defined(__x86_64__)
#define ARCH u"x64"
#else
#define ARCH u"aa64"
#endif

TEST_F(Medium, WhatMakersLeaveInTheSerialNumberIsNone) {
  const struct {
    std::string serial;
    bool isOne;
  } rows[] = {{"", false},
              {" ", false},
              {"Default string", false},
              {"To be filled by O.E.M.", false},
              {"System Serial Number", false},
              {"None", false},
              {"N/A", false},
              {"Not Specified", false},
              {"0000000000", false},
              {"00-00", false},
              {"FFFF", false},
              {"xxxxxxx", false},
              {"0123456789", false},
              {"\xFF\xFF", false},
              {"SN/42", true},
              {"0x10", true},
              {"None1", true},
              {"N", true},
              {"System Serial Number 7", true}};
  for (const auto &row : rows) {
    Stick::clear();
    Stick::file(u"jobs.txt") = "get -o %SERIAL%.xml\n";
    describeMachine(row.serial, 1);
    expect(row.isOne ? EFI_ABORTED : EFI_INVALID_PARAMETER,
           row.isOne ? "==> 1/1 ok, exit code 0" : "line 1: this machine's firmware does not tell its %SERIAL");
  }
  EXPECT_TRUE(Stick::has(u"system_serial_number_7.xml"));
  // A UUID that boards share.
  Stick::clear();
  Stick::file(u"jobs.txt") = "get -o %UUID%.xml\n";
  structures_.replace(8, 16, std::string("\0\x02\0\x03\0\x04\0\x05\0\x06\0\x07\0\x08\0\x09", 16));
  expect(EFI_INVALID_PARAMETER, "does not tell its %UUID");
}

TEST_F(Medium, TellsEveryDriverInTheOrderOfNames) {
  Stick::file(u"jobs.txt") = "list\n";
  const std::u16string folder = u"\\efi\\raidxyl\\" ARCH u"\\";
  const std::u16string longName = std::u16string(74, u'n') + u"\u4E2D.efi";
  Stick::files[folder + longName];
  Stick::files[folder + u"d.opt"];
  for (char16_t i = 0; i < 80; ++i) {
    Stick::files[folder + u"d" + static_cast<char16_t>(u'z' - i / 10) + static_cast<char16_t>(u'0' + i % 10) + u".efi"];
  }
  expect(EFI_ABORTED, "driver ds0.efi: Unsupported\n"); // this firmware loads no files
  EXPECT_TRUE(said("driver " + std::string(74, 'n') + "\xE4\xB8\xAD.efi: Unsupported\n"));
  const std::string &result = Stick::file(FIRST_RESULT u".json");
  EXPECT_EQ(countOf(result, "\"Unsupported\""), 81u);
  EXPECT_LT(result.find("ds0.efi"), result.find("dz0.efi"));
}

TEST_F(Medium, ResultsAreThoseOfAJobAndAMachine) {
  Stick::file(u"jobs.txt") = "get -o %SERIAL%.xml\n";
  expect(EFI_ABORTED, "==> 1/1 ok");
  const auto after = Stick::files;
  EXPECT_EQ(after.size(), 4u); // job, document, the folder and its result
  expect(EFI_ALREADY_STARTED, "this job has run, or begun to, and \\raidxyl\\results\\SN_42-");
  EXPECT_EQ(Stick::files, after);
  // Other machines, of which some are told apart by one thing only.
  const struct {
    const char *serial;
    uint8_t uuid;
  } machines[] = {{"SN/42", 2}, {"SN/43", 1}, {"", 1}, {"SN/42", 0}};
  Stick::file(u"jobs.txt") = "list\n";
  for (const auto &machine : machines) {
    describeMachine(machine.serial, machine.uuid);
    expect(EFI_ABORTED, "==> 1/1 ok");
    expect(EFI_ALREADY_STARTED, "this job has run");
  }
  Stick::file(u"jobs.txt") = "list \n"; // another job
  expect(EFI_ABORTED, "==> 1/1 ok");
  describeMachine("", 0);
  expect(EFI_ABORTED, "==> 1/1 ok");
  expect(EFI_ALREADY_STARTED, "so it may have been another one");
  EXPECT_EQ(after.at(u"\\raidxyl\\" FIRST_RESULT u".json"), Stick::file(FIRST_RESULT u".json"));
}

// A medium that takes no further change, however many it took.
TEST_F(Medium, TellsWhatRanOnTheMediumOrOnTheConsole) {
  const std::string job = "list\nfailed: list\nget -o a.xml\nlist\n";
  Stick::file(u"jobs.txt") = job;
  boot();
  ASSERT_TRUE(Stick::file(FIRST_RESULT u".json").find("\"state\": \"done\"") != std::string::npos);
  EXPECT_FALSE(Stick::has(FIRST_RESULT u".lines"));
  const std::regex told("(\\{\"line\": [^\n]*\\}\n)*"), running("\n\\{\"line\": 3,[^\n]*\"state\": \"running\"");
  size_t stopped = 0;
  for (int writable = 0, all = Stick::writes; writable < all; ++writable) {
    Stick::clear();
    Stick::file(u"jobs.txt") = job;
    Stick::writable = writable;
    variable_.clear();
    EFI_STATUS status = boot();
    bool isShown = said("===== raidxyl file results\\SN_42-");
    bool isKept = Stick::file(FIRST_RESULT u".json").find("\"ended\": ") != std::string::npos;
    EXPECT_TRUE(isShown || isKept) << writable << console_;
    EXPECT_TRUE(said(status == EFI_ABORTED ? "==> 4/4 ok" : "no further line runs")) << writable << console_;
    EXPECT_TRUE(writable != 0 || (said("===== raidxyl file a.xml\n") && said("nothing can be kept on the medium")));
    stopped += status == EFI_ABORTED ? 0 : 1;
    std::string lines = Stick::has(FIRST_RESULT u".lines") ? Stick::file(FIRST_RESULT u".lines") : "";
    EXPECT_TRUE(std::regex_match(lines, told)) << lines;
    EXPECT_TRUE(std::regex_search(lines, running) || !Stick::has(u"a.xml") || isKept) << writable << lines;
  }
  EXPECT_GT(stopped, 0u);
}

// Files in memory are looked for behind the failure, too.
TEST_F(Medium, SurvivesEveryFailureWhereNothingIsKept) {
  bool failed = true;
  for (uint64_t n = 1; failed; ++n) {
    Stick::clear();
    Stick::writable = 0;
    Stick::file(u"jobs.txt") = "log\n";
    variable_.clear();
    world_.firmware.failAllocation(n);
    boot();
    failed = world_.firmware.allocationFailed();
    world_.firmware.failAllocation(0);
  }
  EXPECT_TRUE(said("==> 1/1 ok")) << console_;
}

TEST_F(Medium, MachineRemembersTheJobOfAMediumThatKeepsNothing) {
  const std::string job = "list\n", again = "list\nagain\n", other = "list \n";
  Stick::writable = 0;
  const struct {
    std::string job;
    bool runs;
    const char *medium;
    int writable;
  } boots[] = {{job, true, "a", 0},          {job, false, "a", 0}, {job, true, "b", 0},         {job, false, "b", 0},
               {other, true, "b", 0},        {job, true, "b", 0},  {again, true, "b", 0},       {again, true, "b", 0},
               {job, true, "b", 0},          {job, false, "b", 0}, {other, true, "b", 1 << 30}, {job, true, "b", 0},
               {again + "x", false, "b", 0}, {job, false, "b", 0}};
  for (const auto &row : boots) {
    Stick::clear();
    Stick::writable = row.writable;
    Stick::file(u"jobs.txt") = row.job;
    Stick::file(u"medium.id") = row.medium;
    boot();
    EXPECT_EQ(said("==> 1/1 ok"), row.runs) << &row - boots << console_;
  }
  variableRoom_ = false;
  Stick::file(u"jobs.txt") = other;
  expect(EFI_ABORTED, "the machine does not remember this job");
}

TEST_F(Medium, LimitsAreForTheLinesBehindThemAndForDrivers) {
  Stick::file(u"jobs.txt") = "limit 3\nlist\nlimit 7\nfailed: list\nlist\nlimit 0\nlist\nend reset\n";
  boot();
  EXPECT_EQ(limits_, (std::vector<UINTN>{0, 180, 180, 420, 0, 0}));
  EXPECT_EQ(reset_, 0);
}
