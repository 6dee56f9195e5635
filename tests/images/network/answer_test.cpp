// What comes from servers, and what the medium says of them, without a server.
#include "images/network/answer.h"

#include "tests/support/world.h"

using namespace xyl;

using images::network::Body;
using images::network::Head;

class Answers : public testing::Test {
protected:
  World world_{WorldOptions{.preset = nullptr, .driver = false}};
};

TEST_F(Answers, HeadsSayHowLongTheBodyIsOrAreRefused) {
  const struct {
    UINT32 number;
    std::vector<EFI_HTTP_HEADER> fields;
    std::string wanted; // code, framing and length, or a part of the fault
  } rows[] = {{3, {{"Server", "x"}, {"CONTENT-length", "12"}}, "200 length 12"},
              {3, {{"Content-Length", "12"}, {"Content-Length", "12"}}, "200 length 12"},
              {3, {{"Content-Length", "12"}, {"Content-Length", "13"}}, "two lengths"},
              {3, {{"Content-Length", "-1"}}, "no number"},
              {3, {{"Content-Length", ""}}, "no number"},
              {3, {{"Content-Length", "1, 1"}}, "no number"},
              {3, {{"Content-Length", "18446744073709551617"}}, "no number"},
              {4, {{"Transfer-Encoding", "Chunked"}}, "201 chunks 0"},
              {3, {{"Transfer-Encoding", "gzip, chunked"}}, "nobody asked"},
              {3, {{"Content-Length", "1"}, {"Transfer-Encoding", "chunked"}}, "length and chunks"},
              {3, {{"Content-Encoding", "gzip"}, {"Content-Length", "1"}}, "nobody asked"},
              {38, {{nullptr, nullptr}}, "503 unknown 0"},
              {41, {}, "308 unknown 0"},
              {42, {}, "0 unknown 0"},
              {~0U, {}, "0 unknown 0"}};
  for (const auto &row : rows) {
    Head head;
    const CHAR8 *fault = images::network::readHead(row.number, row.fields.data(), row.fields.size(), &head);
    const char *framings[] = {" unknown ", " length ", " chunks "};
    std::string told =
        std::to_string(head.code) + framings[static_cast<int>(head.framing)] + std::to_string(head.length);
    EXPECT_NE((fault != nullptr ? fault : told).find(row.wanted), std::string::npos) << row.wanted << " but " << told;
  }
}

TEST_F(Answers, BodiesAreWholeOnlyAtTheirEndHoweverTheyCome) {
  constexpr UINTN limit = 40;
  const Head length = {200, images::network::Framing::length, 5}, chunks = {200, images::network::Framing::chunks, 0};
  const struct {
    Head head;
    std::string wire;
    EFI_STATUS status; // EFI_NOT_READY: more has to come
    std::string body;
  } rows[] = {{length, "12345", EFI_SUCCESS, "12345"},
              {length, "1234567", EFI_SUCCESS, "12345"},
              {length, "1234", EFI_NOT_READY, ""},
              {{200, images::network::Framing::length, 0}, "", EFI_SUCCESS, ""},
              {{200, images::network::Framing::length, 41}, "", EFI_BAD_BUFFER_SIZE, ""},
              {{200, images::network::Framing::unknown, 0}, "1", EFI_PROTOCOL_ERROR, ""},
              {chunks, "3\r\nabc\r\n0A;x=\"y\"\r\n0123456789\r\n0\r\n\r\nmore", EFI_SUCCESS, "abc0123456789"},
              {chunks, "0\r\nTrailer: x\r\nOther: y\r\n\r\n", EFI_SUCCESS, ""},
              {chunks, "1\na\n0\n\n", EFI_SUCCESS, "a"},
              {chunks, "3\r\nabc\r\n", EFI_NOT_READY, ""},
              {chunks, "3\r\nabc\r\n0\r\n", EFI_NOT_READY, ""},
              {chunks, "3\r\nabcd\r\n0\r\n\r\n", EFI_PROTOCOL_ERROR, ""},
              {chunks, "\r\n", EFI_PROTOCOL_ERROR, ""},
              {chunks, "-1\r\n", EFI_PROTOCOL_ERROR, ""},
              {chunks, "100000000\r\n", EFI_PROTOCOL_ERROR, ""},
              {chunks, "1;" + std::string(5000, 'x'), EFI_PROTOCOL_ERROR, ""},
              {chunks, "0\r\nx" + std::string(5000, 'x'), EFI_PROTOCOL_ERROR, ""},
              {chunks, "29\r\n" + std::string(41, 'x'), EFI_BAD_BUFFER_SIZE, ""},
              {chunks, "28\r\n" + std::string(40, 'x') + "\r\n0\r\n\r\n", EFI_SUCCESS, std::string(40, 'x')},
              {chunks, "FFFFFFFF\r\nabc", EFI_NOT_READY, ""}};
  for (const auto &row : rows) {
    for (size_t piece : {size_t{1}, size_t{3}, size_t{1000}}) {
      Body body(row.head, limit);
      EFI_STATUS status = body.begin();
      for (size_t at = 0; at < row.wire.size() && !EFI_ERROR(status); at += piece) {
        std::string part = row.wire.substr(at, piece);
        status = body.add(part.data(), part.size());
      }
      status = !EFI_ERROR(status) && !body.isWhole() ? EFI_NOT_READY : status;
      EXPECT_EQ(name(status), name(row.status)) << row.wire << " in pieces of " << piece;
      images::network::Answer answer;
      if (!EFI_ERROR(status)) {
        body.give(&answer);
        EXPECT_EQ(std::string(answer.data, answer.size + 1), row.body + '\0');
      }
    }
  }
  world_.expectBalanced();
}

TEST_F(Answers, LoginsAreForOneServer) {
  const std::string text =
      "http://a:80 u:p\r\n\n# x\nhttps://A.b:443  name:with blanks \nhttps://a.c:8443/ x:y\nhttp://end\n";
  const struct {
    const char *url, *login;
  } rows[] = {{"http://a/x", "u:p"},
              {"https://a/x", ""},
              {"http://a:81/x", ""},
              {"http://ab/x", ""},
              {"https://a.b/x", "name:with blanks "},
              {"https://a.b:443/x", "name:with blanks "},
              {"https://a.c:8443/", "x:y"},
              {"https://a.c/", ""},
              {"http://end/", ""}};
  for (const auto &row : rows) {
    client::jobs::Url url;
    ASSERT_EQ(client::jobs::readUrl(row.url, &url), nullptr);
    UINTN length = 0;
    const CHAR8 *login = images::network::loginFor(url, text.data(), text.size(), &length);
    EXPECT_EQ(login != nullptr ? std::string(login, length) : "", row.login) << row.url;
  }
}
