// Media whose jobs and results go over the network, with a server of the tests' own.
#include "tests/images/medium/machine.h"
#include "tests/images/network/fake_network.h"

// A sequence of DER, of so many bytes that its base64 fills its groups.
#define CERTIFICATE "-----BEGIN CERTIFICATE-----\nMIIAAgUA\n-----END CERTIFICATE-----\n"

class Transfers : public Medium {
protected:
  Transfers() {
    Network::begin(world_);
    world_.markBalance();
  }
  ~Transfers() override { Network::end(); }

  // A server of files, of which one is only there at the second time.
  static Reply serve(const Asked &asked) {
    std::string path = asked.url.substr(asked.url.find('/', 8));
    if (asked.method != EFI_HTTP_GET) {
      return path == "/refused" ? Reply{20, {}, ""} : Reply{4, {}, ""};
    }
    auto file = files_.find(path);
    if (file == files_.end()) {
      return {21, {{"Content-Length", "7"}}, "nothing"};
    }
    return {3, {{"Content-Length", std::to_string(file->second.size())}}, file->second};
  }
  EFI_STATUS run(const std::string &jobs) {
    Stick::file(u"jobs.txt") = jobs;
    Network::server = serve;
    Network::asked.clear();
    EFI_STATUS status = boot();
    Network::expectClosed(jobs);
    EXPECT_TRUE(trusted_.empty());
    return status;
  }
  static std::string path(const Asked &asked) { return asked.url.substr(asked.url.find('/', 8)); }

  static inline std::map<std::string, std::string> files_;
};

TEST_F(Transfers, MistakesInLinesAreToldBeforeAnythingRuns) {
  const struct {
    std::string line, told; // "": it is right
  } rows[] = {
      {"fetch http://a/%SERIAL%/x%%20y?q=1 x.bin", ""},
      {"fetch http://a/x", "'fetch' wants URL FILE"},
      {"fetch ftp://a/x x", "begins with neither"},
      {"fetch HTTPS://a/x x", "begins with neither"}, // firmware could take it for the other
      {"fetch http://a x", "names no file on the server"},
      {"fetch http:///x x", "names no server"},
      {"fetch http://[::1]/x x", "names no server"},
      {"fetch http://u:p@a/x x", "belong into logins.txt"},
      {"fetch http://a:0/x x", "a port that is none"},
      {"fetch http://a:65536/x x", "a port that is none"},
      {"fetch http://a_b/x x", "a letter that names cannot have"},
      {"fetch \"http://a/x y\" x", "a letter that a URL cannot have"},
      {"fetch http://a/x%%2 x", "without two hexadecimal digits"},
      {"fetch http://a/b/../x x", "a step '.' or '..'"},
      {"fetch http://a/" + std::string(504, 'x') + " x", "longer than 512"},
      {"fetch http://a/x \\EFI\\BOOT\\BOOTX64.EFI", "below \\raidxyl"},
      {"fetch http://a/x ..\\x", "below \\raidxyl"},
      {"fetch http://a/x JOBS.TXT", "does not replace the medium's own"},
      {"fetch http://a/x ca.pem", "does not replace the medium's own"},
      {"send logins.txt http://a/x", "holds passwords"},
      {"send LOGINS~1.TXT http://a/x", "below \\raidxyl"},
      {"send a. http://a/x", "below \\raidxyl"},
      {"send a http://a/x patch", "'put' or 'post'"},
      {"send a http://a/x post\nkey lock --key-id 1 --passphrase-file A -c 03:00.0 --yes", "passphrase is not sent: a"},
      {"ok: send result.json http://a/x", "takes no condition"},
      {"send result.json http://a/x\nsend Result.JSON http://a/y", "a second time"},
      {"attempts 0", "wants a number from 1 to 100"},
      {"attempts 2 3601", "wants a number from 1 to 100"},
      {"attempts 100 3600", ""},
      {"network dhcp", ""},
      {"network 52:54:00:12:34:56 10.0.0.2/24 10.0.0.1 10.0.0.53", ""},
      {"network 10.0.0.2", "ADDRESS/BITS"},
      {"network 10.0.0.256/24", "ADDRESS/BITS"},
      {"network 10.0.0.2/31", "ADDRESS/BITS"},
      {"network 10.0.0.2/24 dhcp", "ADDRESS/BITS"},
      {"job http://a/x", "no other lines stand here"},
      {"fetch https://a/x x", "'ca.pem' cannot be used: Not Found"},
      {repeated(101, "fetch http://a/x x\n"), "at most 100 lines"},
  };
  for (const auto &row : rows) {
    Stick::clear();
    files_ = {{"/SN_42/x%20y?q=1", "x"}};
    EFI_STATUS status = run(row.line + "\nlist\n");
    EXPECT_EQ(name(status), name(row.told.empty() ? EFI_ABORTED : EFI_INVALID_PARAMETER)) << console_;
    EXPECT_TRUE(said(row.told)) << row.told << "\n" << console_;
    EXPECT_EQ(Network::asked.empty() || row.told.empty(), true) << row.line;
  }
}

TEST_F(Transfers, FilesComeAndGoAndTheResultGoesLast) {
  files_ = {{"/a", "new"}};
  Stick::file(u"a.bin") = "an old one";
  Stick::file(u"logins.txt") = "http://s me:secret\n";
  run("send result.json http://s:8080/r post\nattempts 2 7\nfetch http://s/a a.bin\nfetch http://s/none none.bin\n"
      "failed: get -o saved.xml\nsend saved.xml http://s/%UUID%.xml\nsend saved.xml http://s/refused\nlist\n");
  EXPECT_EQ(Stick::file(u"a.bin"), "new");
  EXPECT_FALSE(Stick::has(u"none.bin"));
  ASSERT_EQ(Network::asked.size(), 5u) << console_;
  EXPECT_EQ(Network::asked[0].login, "Basic bWU6c2VjcmV0");
  EXPECT_EQ(path(Network::asked[2]), "/00000000-0000-0000-0000-000000000001.xml");
  EXPECT_EQ(Network::asked[2].body, Stick::file(u"saved.xml"));
  EXPECT_EQ(Network::asked[4].method, EFI_HTTP_POST);
  EXPECT_EQ(Network::asked[4].login, ""); // another port
  EXPECT_EQ(Network::asked[4].body, Stick::file(FIRST_RESULT u".json"));
  EXPECT_TRUE(said("card 52:54:00:12:34:56 has the address 10.0.2.15") && said("attempt 1 of 2") &&
              said("the server answers 404") && said("the server answers 403"))
      << console_;
  EXPECT_FALSE(said("attempt 2 of 2") || said("secret") || Network::asked[4].body.find("secret") != std::string::npos);
}

// Each call of the network's protocols fails once, or never ends; then each allocation.
TEST_F(Transfers, SurvivesEveryFailureOfTheNetwork) {
  files_ = {{"/a", std::string(10, 'x')}};
  const std::string job = "attempts 1\nfetch http://s/a a.bin\nok: send a.bin http://s/b\nsend result.json http://s/r\n"
                          "again\n";
  enum { fails, hangs, allocates };
  for (int how : {fails, hangs, allocates}) {
    bool failed = true;
    for (int n = 1; failed; ++n) {
      Stick::clear();
      Stick::file(u"a.bin") = "old";
      Network::calls = 0;
      Network::piece = 4;
      Network::failAt = how == fails ? n : 0;
      Network::hangAt = how == hangs ? n : 0;
      Network::policy = EFI_IP4_CONFIG2_STATIC;
      world_.firmware.failAllocation(how == allocates ? static_cast<uint64_t>(n) : 0);
      run(job);
      failed = how == allocates ? world_.firmware.allocationFailed() : n <= Network::calls;
      world_.firmware.failAllocation(0);
      EXPECT_TRUE(Stick::file(u"a.bin") == "old" || Stick::file(u"a.bin") == files_["/a"]) << n;
      EXPECT_TRUE(failed || (said("==> 2/2 ok") && !said("not sent"))) << console_;
      EXPECT_TRUE(how != hangs || !failed || Network::calls == n || !Network::asked.empty()) << n;
    }
  }
}

TEST_F(Transfers, JobsComeFromAServer) {
  Stick::file(u"pass.txt") = "secret";
  const std::string medium = "job http://s/jobs/%SERIAL%.txt\n";
  files_ = {{"/jobs/SN_42.txt", "get -o saved.xml\nsend saved.xml http://s/x\nsend pass.txt http://s/y\n"}};
  EXPECT_EQ(name(run(medium)), name(EFI_ABORTED));
  EXPECT_EQ(Stick::file(FIRST_RESULT u".txt"), files_["/jobs/SN_42.txt"]);
  EXPECT_NE(Stick::file(FIRST_RESULT u".json").find("\"from\": \"http://s/jobs/SN_42.txt\""), std::string::npos);
  EXPECT_EQ(Stick::file(FIRST_RESULT u".json").find("mistakes"), std::string::npos)
      << Stick::file(FIRST_RESULT u".json");
  EXPECT_TRUE(said("==> 2/3 ok") && said("'pass.txt' was not written by this job")) << console_;
  EXPECT_EQ(Network::asked.size(), 2u);
  // It does not run twice, another one does, and where there is none nothing does.
  const auto after = Stick::files;
  EXPECT_EQ(name(run(medium)), name(EFI_ALREADY_STARTED));
  files_.clear();
  EXPECT_EQ(name(run(medium)), name(EFI_NOT_FOUND));
  EXPECT_TRUE(said("the server has no job for this machine"));
  EXPECT_EQ(Stick::files, after);
  const struct {
    std::string job, told;
  } rows[] = {{"job http://s/other\n", "does not stand in a job that was fetched"},
              {"network dhcp\nlist\n", "stands in the medium's own file"},
              {"get -o x.xml\nfly\n", "line 2"},
              {"fetch http://t/a a.bin\nsend A.bin http://s/a\n", "does not send what it fetches: A.bin"},
              {std::string(0x10001, '#'), "the answer is too large"},
              {"fetch https://s/a a.bin\n", "'ca.pem' cannot be used"}};
  for (const auto &row : rows) {
    files_["/jobs/SN_42.txt"] = row.job;
    EXPECT_TRUE(EFI_ERROR(run(medium))) << console_;
    EXPECT_TRUE(said(row.told) && !said("==> 1/")) << row.told << console_;
  }
  files_["/jobs/SN_42.txt"] = "list\n";
  EXPECT_EQ(name(run("network 10.0.0.9/24 10.0.0.1\nsend result.json http://s/r\n" + medium)), name(EFI_ABORTED));
  EXPECT_EQ(path(Network::asked.back()), "/r");
  EXPECT_TRUE(said("has the address 10.0.0.9")) << console_;
}

// On a CD, what is fetched lies in memory and is not shown; a certificate is trusted as long as the medium runs.
TEST_F(Transfers, ReadOnlyMediaKeepWhatIsFetchedToThemselves) {
  files_ = {{"/a", "a passphrase"}};
  Stick::writable = 0;
  Stick::file(u"ca.pem") = "text\n" CERTIFICATE "more\n" CERTIFICATE;
  Network::address = std::string(4, 0); // and nobody gives one at first
  EXPECT_EQ(name(run("attempts 1\nfetch https://s/a a.bin\n")), name(EFI_ABORTED));
  EXPECT_TRUE(said("no network card got an address: No mapping")) << console_;
  Network::address = std::string("\x0A\0\2\x0F", 4);
  EXPECT_EQ(name(run("fetch https://s/a a.bin\nsend a.bin https://s/b\n")), name(EFI_ABORTED));
  EXPECT_EQ(Network::asked.back().body, "a passphrase");
  EXPECT_FALSE(said("file a.bin") || said("a passphrase")) << console_;
  for (const char *damaged : {"", "-----BEGIN CERTIFICATE-----\nMIIAAgUA\n",
                              "-----BEGIN CERTIFICATE-----\nMIIAAwUA\n"
                              "-----END CERTIFICATE-----\n",
                              "-----BEGIN CERTIFICATE-----\n*\n-----END CERTIFICATE-----\n"}) {
    Stick::file(u"ca.pem") = damaged;
    EXPECT_EQ(name(run("fetch https://s/a a.bin\n")), name(EFI_INVALID_PARAMETER)) << damaged;
  }
}

TEST_F(Transfers, CardsTakeTurnsAndAFixedAddressIsForOne) {
  Network::end();
  Network::begin(world_, 2);
  files_ = {{"/a", "x"}};
  run("network 10.0.0.9/24\nfetch http://s/a a.bin\n");
  EXPECT_TRUE(said("wants the MAC of one") && !said("attempt 2")) << console_;
  const auto before = Stick::files;
  EXPECT_TRUE(EFI_ERROR(run("network 10.0.0.9/24\njob http://s/a\n")));
  EXPECT_TRUE(said("without a job nothing is run") && Stick::files.size() == before.size()) << console_;
  run("network 52:54:00:12:34:57 dhcp\nattempts 1\nfetch http://s/a a.bin\n");
  EXPECT_TRUE(said("no network card for which this firmware speaks HTTP, with that MAC")) << console_;
  run("fetch http://s/a a.bin\n");
  EXPECT_TRUE(said("==> 1/1 ok")) << console_;
  // Firmware of a machine with an address of its own is not told another one.
  Network::settings[EFI_IP4_CONFIG2_INTERFACE_INFO_TYPE] = std::string("\x0A\0\0\7", 4);
  run("fetch http://s/a b.bin\n");
  EXPECT_TRUE(said("has the address 10.0.0.7")) << console_;
}
