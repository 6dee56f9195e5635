// Files that come over the network and go there.
#include "base/text.h"
#include "images/medium/run.h"

namespace xyl::images {

// --- What the medium says of the network ---

EFI_STATUS checkTransfers(JobRun *run) {
  if (!run->file.isSecure) {
    return EFI_SUCCESS;
  }
  CHAR8 *text = nullptr;
  UINTN size = 0;
  EFI_STATUS status = run->front->readFile(run->front, client::jobs::certificateFile, &text, &size);
  if (!EFI_ERROR(status)) {
    status = run->trust.set(text, size);
    poolFree(text);
  }
  if (EFI_ERROR(status)) {
    const CHAR8 *why = status == EFI_INVALID_PARAMETER ? "it holds no certificate in PEM, or a damaged one"
                       : status == EFI_ACCESS_DENIED   ? "the firmware trusts others (TlsCaCertificate), which stays so"
                                                       : client::statusWords(status);
    client::complain(run->front, "job file: a URL begins with https, and '%a' cannot be used: %a",
                     client::jobs::certificateFile, why);
    return EFI_INVALID_PARAMETER;
  }
  return EFI_SUCCESS;
}

namespace {

// The login for a server, with the text that it stands in.
struct Login {
  CHAR8 *text; // pool
  UINTN size;
  const CHAR8 *login; // null: none
  UINTN length;
};

} // namespace

static Login readLogin(const client::Front *front, const client::jobs::Url &url) {
  Login login = {};
  if (EFI_ERROR(front->readFile(front, client::jobs::loginFile, &login.text, &login.size))) {
    login.text = nullptr;
  } else {
    login.login = network::loginFor(url, login.text, login.size, &login.length);
  }
  return login;
}

static void freeLogin(Login *login) {
  if (login->text != nullptr) {
    wipeBytes(login->text, login->size);
    poolFree(login->text);
  }
}

// --- Attempts ---

static void tellCard(const client::Front *front, const network::Card &card) {
  network::CardState state = network::stateOf(card);
  const UINT8 *mac = state.mac;
  const UINT8 *address = state.address.bytes;
  client::say(front, "card %02x:%02x:%02x:%02x:%02x:%02x has the address %d.%d.%d.%d\n", mac[0], mac[1], mac[2], mac[3],
              mac[4], mac[5], address[0], address[1], address[2], address[3]);
}

static void tellCode(const client::Front *front, UINT32 code, bool hasLogin) {
  const CHAR8 *more = "";
  if (code >= 300 && code < 400) {
    more = "; redirects are not followed";
  } else if (code == 401) {
    more = hasLogin ? "; it does not take the login in 'logins.txt'" : "; 'logins.txt' has no login for it";
  }
  if (code == 0) {
    client::complain(front, "the server answers with a code that the firmware does not know");
  } else {
    client::complain(front, "the server answers %d%a", code, more);
  }
}

static void tellFailure(const client::Front *front, EFI_STATUS status, const network::Request &request,
                        const network::Answer &answer) {
  if (status == EFI_HTTP_ERROR) {
    tellCode(front, answer.code, request.login != nullptr);
  } else if (answer.fault != nullptr) {
    client::complain(front, "the answer %a", answer.fault);
  } else if (const CHAR8 *words = network::wordsFor(status)) {
    client::complain(front, "%a", words);
  } else {
    client::complain(front, "%a%a", client::statusWords(status),
                     request.url->isSecure
                         ? "; perhaps the server's certificate is none of 'ca.pem' or not for its name, or it "
                           "has no cipher of this firmware"
                         : "");
  }
}

static EFI_STATUS bringUp(JobRun *run) {
  bool wasUp = run->cards.take(0) != nullptr;
  EFI_STATUS status = run->cards.bringUp(run->file.network);
  if (status == EFI_NOT_FOUND) {
    client::complain(run->front, "there is no network card for which this firmware speaks HTTP%a",
                     run->file.network.hasMac ? ", with that MAC" : "");
  } else if (status == EFI_INVALID_PARAMETER) {
    client::complain(run->front,
                     "the machine has several network cards; 'network' wants the MAC of one for a fixed address");
  } else if (EFI_ERROR(status)) {
    client::complain(run->front, "no network card got an address: %a", client::statusWords(status));
  } else if (const network::Card *card = run->cards.take(0); card != nullptr && !wasUp) {
    tellCard(run->front, *card);
  }
  return status;
}

// One attempt, which is announced.
static EFI_STATUS tryOnce(JobRun *run, const network::Request &request, UINT32 attempt, UINT32 count,
                          network::Answer *answer) {
  static constexpr const CHAR8 *methods[] = {"GET", "PUT", "POST"};
  const CHAR8 *method = methods[static_cast<int>(request.method)];
  client::say(run->front, "attempt %d of %d, which may take three minutes: %a %a\n", attempt + 1, count, method,
              request.url->text);
  EFI_STATUS status = bringUp(run);
  if (EFI_ERROR(status)) {
    return status;
  }
  const network::Card *card = run->cards.take(attempt);
  status = card != nullptr ? network::exchange(*card, request, answer) : EFI_NO_MAPPING; // just now it had one
  if (EFI_ERROR(status)) {
    tellFailure(run->front, status, request, *answer);
  }
  return status;
}

// Fills in login, and tries as often as is wanted and as it may help.
static EFI_STATUS tryAll(JobRun *run, network::Request request, const client::jobs::Tries &tries,
                         network::Answer *answer) {
  Login login = readLogin(run->front, *request.url);
  request.login = login.login;
  request.loginLength = login.length;
  EFI_STATUS status = EFI_NOT_READY;
  for (UINT32 i = 0; i < tries.count && EFI_ERROR(status) && (i == 0 || network::mayGoBetter(status, *answer)); ++i) {
    if (i != 0) {
      g_bootServices->Stall(UINTN{tries.pause} * 1000000);
    }
    answer->clear();
    status = tryOnce(run, request, i, tries.count, answer);
  }
  freeLogin(&login);
  return status;
}

static client::Result resultOf(EFI_STATUS status, const network::Answer &answer) {
  if (!EFI_ERROR(status)) {
    return client::succeeded();
  }
  return status == EFI_HTTP_ERROR && answer.code == 404 ? client::notFound() : client::failed(status);
}

static client::Result fetch(JobRun *run, const CHAR8 *text, const client::jobs::Tries &tries, UINTN limit,
                            network::Answer *answer) {
  client::jobs::Url url;
  client::jobs::readUrl(text, &url);
  network::Request request = {};
  request.method = network::Method::get;
  request.url = &url;
  request.limit = limit;
  return resultOf(tryAll(run, request, tries, answer), *answer);
}

static EFI_STATUS send(JobRun *run, const client::jobs::TransferLine &line, const client::jobs::Tries &tries,
                       const CHAR8 *body, UINTN size) {
  client::jobs::Url url;
  client::jobs::readUrl(line.url, &url);
  network::Request request = {};
  request.method = line.transfer == client::jobs::Transfer::post ? network::Method::post : network::Method::put;
  request.url = &url;
  request.body = body;
  request.size = size;
  network::Answer answer;
  EFI_STATUS status = tryAll(run, request, tries, &answer);
  if (!EFI_ERROR(status)) {
    client::say(run->front, "sent %ld bytes of '%a'; the server answers %d\n", UINT64{size}, line.file, answer.code);
  }
  return status;
}

// --- Lines ---

static client::Result runFetch(JobRun *run, const client::jobs::TransferLine &line, const client::jobs::Tries &tries) {
  network::Answer answer;
  client::Result result = fetch(run, line.url, tries, network::fileMax, &answer);
  if (client::isFailure(result)) {
    return result;
  }
  EFI_STATUS status = keepFetched(run->front, line.file, answer.data, answer.size);
  if (EFI_ERROR(status)) {
    client::complain(run->front, "cannot write '%a': %a", line.file, client::statusWords(status));
    return client::failed(status);
  }
  client::say(run->front, "fetched %ld bytes to '%a'\n", UINT64{answer.size}, line.file);
  return client::succeeded();
}

static client::Result runSend(JobRun *run, const client::jobs::TransferLine &line, const client::jobs::Tries &tries) {
  // Who writes a job elsewhere does not know what the medium has, and must not find out.
  if (run->namedBy.source.wordCount != 0 && !hasWritten(run->front, line.file)) {
    client::complain(run->front, "'%a' was not written by this job; one that was fetched sends nothing else",
                     line.file);
    return client::failed(EFI_ACCESS_DENIED);
  }
  CHAR8 *data = nullptr;
  UINTN size = 0;
  EFI_STATUS status = run->front->readFile(run->front, line.file, &data, &size);
  if (!EFI_ERROR(status) && size > network::fileMax) {
    poolFree(data);
    status = EFI_BAD_BUFFER_SIZE;
  }
  if (EFI_ERROR(status)) {
    client::complain(run->front, "cannot read '%a': %a", line.file, client::statusWords(status));
    return status == EFI_NOT_FOUND ? client::notFound() : client::failed(status);
  }
  status = send(run, line, tries, data, size);
  poolFree(data);
  return EFI_ERROR(status) ? client::failed(status) : client::succeeded();
}

client::Result runTransfer(JobRun *run, const client::JobLine &line) {
  client::jobs::TransferLine transfer = client::transferOf(line);
  return line.transfer == client::jobs::Transfer::fetch ? runFetch(run, transfer, line.tries)
                                                        : runSend(run, transfer, line.tries);
}

client::Result fetchJob(JobRun *run) {
  client::say(run->front, "==> %a\n", client::textOf(run->namedBy.source.text));
  run->file.network = run->namedBy.network;
  network::Answer answer;
  client::Result result =
      fetch(run, client::sourceOf(run->namedBy), run->namedBy.source.tries, client::jobFileLimit, &answer);
  if (!client::isFailure(result)) {
    client::putBytes(&run->fetched, answer.data, answer.size);
  }
  return run->fetched.failed ? client::failed(EFI_OUT_OF_RESOURCES) : result;
}

EFI_STATUS sendResult(JobRun *run, const client::Text &result) {
  const client::JobLine &line = run->file.result;
  client::say(run->front, "==> %a\n", client::textOf(line.text));
  EFI_STATUS status = result.failed
                          ? EFI_OUT_OF_RESOURCES
                          : send(run, client::transferOf(line), line.tries, client::textOf(result), result.length);
  if (EFI_ERROR(status)) {
    client::complain(run->front, "the result is not sent: %a", client::statusWords(status));
  }
  return status;
}

} // namespace xyl::images
