// Files that come over the network and go there.
#include "base/text.h"
#include "images/medium/run.h"

// --- What the medium says of the network ---

EFI_STATUS checkTransfers(JOB_RUN *run) {
  if (!run->File.IsSecure) {
    return EFI_SUCCESS;
  }
  CHAR8 *text = nullptr;
  UINTN size = 0;
  EFI_STATUS status = run->Front->ReadFile(run->Front, jobs::certificateFile, &text, &size);
  if (!EFI_ERROR(status)) {
    status = run->Trust.set(text, size);
    poolFree(text);
  }
  if (EFI_ERROR(status)) {
    const CHAR8 *why = status == EFI_INVALID_PARAMETER ? "it holds no certificate in PEM, or a damaged one"
                       : status == EFI_ACCESS_DENIED   ? "the firmware trusts others (TlsCaCertificate), which stays so"
                                                       : statusWords(status);
    complain(run->Front, "job file: a URL begins with https, and '%a' cannot be used: %a", jobs::certificateFile, why);
    return EFI_INVALID_PARAMETER;
  }
  return EFI_SUCCESS;
}

namespace {

// The login for a server, with the text that it stands in.
struct LOGIN {
  CHAR8 *Text; // pool
  UINTN Size;
  const CHAR8 *Login; // null: none
  UINTN Length;
};

} // namespace

static LOGIN readLogin(const XYL_FRONT *front, const jobs::Url &url) {
  LOGIN login = {};
  if (EFI_ERROR(front->ReadFile(front, jobs::loginFile, &login.Text, &login.Size))) {
    login.Text = nullptr;
  } else {
    login.Login = network::loginFor(url, login.Text, login.Size, &login.Length);
  }
  return login;
}

static void freeLogin(LOGIN *login) {
  if (login->Text != nullptr) {
    wipeBytes(login->Text, login->Size);
    poolFree(login->Text);
  }
}

// --- Attempts ---

static void tellCard(const XYL_FRONT *front, const network::Card &card) {
  network::CardState state = network::stateOf(card);
  const UINT8 *mac = state.mac;
  const UINT8 *address = state.address.bytes;
  say(front, "card %02x:%02x:%02x:%02x:%02x:%02x has the address %d.%d.%d.%d\n", mac[0], mac[1], mac[2], mac[3], mac[4],
      mac[5], address[0], address[1], address[2], address[3]);
}

static void tellCode(const XYL_FRONT *front, UINT32 code, bool hasLogin) {
  const CHAR8 *more = "";
  if (code >= 300 && code < 400) {
    more = "; redirects are not followed";
  } else if (code == 401) {
    more = hasLogin ? "; it does not take the login in 'logins.txt'" : "; 'logins.txt' has no login for it";
  }
  if (code == 0) {
    complain(front, "the server answers with a code that the firmware does not know");
  } else {
    complain(front, "the server answers %d%a", code, more);
  }
}

static void tellFailure(const XYL_FRONT *front, EFI_STATUS status, const network::Request &request,
                        const network::Answer &answer) {
  if (status == EFI_HTTP_ERROR) {
    tellCode(front, answer.code, request.login != nullptr);
  } else if (answer.fault != nullptr) {
    complain(front, "the answer %a", answer.fault);
  } else if (const CHAR8 *words = network::wordsFor(status)) {
    complain(front, "%a", words);
  } else {
    complain(front, "%a%a", statusWords(status),
             request.url->isSecure
                 ? "; perhaps the server's certificate is none of 'ca.pem' or not for its name, or it "
                   "has no cipher of this firmware"
                 : "");
  }
}

static EFI_STATUS bringUp(JOB_RUN *run) {
  bool wasUp = run->Cards.take(0) != nullptr;
  EFI_STATUS status = run->Cards.bringUp(run->File.Network);
  if (status == EFI_NOT_FOUND) {
    complain(run->Front, "there is no network card for which this firmware speaks HTTP%a",
             run->File.Network.hasMac ? ", with that MAC" : "");
  } else if (status == EFI_INVALID_PARAMETER) {
    complain(run->Front, "the machine has several network cards; 'network' wants the MAC of one for a fixed address");
  } else if (EFI_ERROR(status)) {
    complain(run->Front, "no network card got an address: %a", statusWords(status));
  } else if (const network::Card *card = run->Cards.take(0); card != nullptr && !wasUp) {
    tellCard(run->Front, *card);
  }
  return status;
}

// One attempt, which is announced.
static EFI_STATUS tryOnce(JOB_RUN *run, const network::Request &request, UINT32 attempt, UINT32 count,
                          network::Answer *answer) {
  static constexpr const CHAR8 *methods[] = {"GET", "PUT", "POST"};
  const CHAR8 *method = methods[static_cast<int>(request.method)];
  say(run->Front, "attempt %d of %d, which may take three minutes: %a %a\n", attempt + 1, count, method,
      request.url->text);
  EFI_STATUS status = bringUp(run);
  if (EFI_ERROR(status)) {
    return status;
  }
  const network::Card *card = run->Cards.take(attempt);
  status = card != nullptr ? network::exchange(*card, request, answer) : EFI_NO_MAPPING; // just now it had one
  if (EFI_ERROR(status)) {
    tellFailure(run->Front, status, request, *answer);
  }
  return status;
}

// Fills in login, and tries as often as is wanted and as it may help.
static EFI_STATUS tryAll(JOB_RUN *run, network::Request request, const jobs::Tries &tries, network::Answer *answer) {
  LOGIN login = readLogin(run->Front, *request.url);
  request.login = login.Login;
  request.loginLength = login.Length;
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

static XYL_RESULT resultOf(EFI_STATUS status, const network::Answer &answer) {
  if (!EFI_ERROR(status)) {
    return succeeded();
  }
  return status == EFI_HTTP_ERROR && answer.code == 404 ? notFound() : failed(status);
}

static XYL_RESULT fetch(JOB_RUN *run, const CHAR8 *text, const jobs::Tries &tries, UINTN limit,
                        network::Answer *answer) {
  jobs::Url url;
  jobs::readUrl(text, &url);
  network::Request request = {};
  request.method = network::Method::get;
  request.url = &url;
  request.limit = limit;
  return resultOf(tryAll(run, request, tries, answer), *answer);
}

static EFI_STATUS send(JOB_RUN *run, const jobs::TransferLine &line, const jobs::Tries &tries, const CHAR8 *body,
                       UINTN size) {
  jobs::Url url;
  jobs::readUrl(line.url, &url);
  network::Request request = {};
  request.method = line.transfer == jobs::Transfer::post ? network::Method::post : network::Method::put;
  request.url = &url;
  request.body = body;
  request.size = size;
  network::Answer answer;
  EFI_STATUS status = tryAll(run, request, tries, &answer);
  if (!EFI_ERROR(status)) {
    say(run->Front, "sent %ld bytes of '%a'; the server answers %d\n", UINT64{size}, line.file, answer.code);
  }
  return status;
}

// --- Lines ---

static XYL_RESULT runFetch(JOB_RUN *run, const jobs::TransferLine &line, const jobs::Tries &tries) {
  network::Answer answer;
  XYL_RESULT result = fetch(run, line.url, tries, network::fileMax, &answer);
  if (isFailure(result)) {
    return result;
  }
  EFI_STATUS status = keepFetched(run->Front, line.file, answer.data, answer.size);
  if (EFI_ERROR(status)) {
    complain(run->Front, "cannot write '%a': %a", line.file, statusWords(status));
    return failed(status);
  }
  say(run->Front, "fetched %ld bytes to '%a'\n", UINT64{answer.size}, line.file);
  return succeeded();
}

static XYL_RESULT runSend(JOB_RUN *run, const jobs::TransferLine &line, const jobs::Tries &tries) {
  // Who writes a job elsewhere does not know what the medium has, and must not find out.
  if (run->NamedBy.Source.WordCount != 0 && !hasWritten(run->Front, line.file)) {
    complain(run->Front, "'%a' was not written by this job; one that was fetched sends nothing else", line.file);
    return failed(EFI_ACCESS_DENIED);
  }
  CHAR8 *data = nullptr;
  UINTN size = 0;
  EFI_STATUS status = run->Front->ReadFile(run->Front, line.file, &data, &size);
  if (!EFI_ERROR(status) && size > network::fileMax) {
    poolFree(data);
    status = EFI_BAD_BUFFER_SIZE;
  }
  if (EFI_ERROR(status)) {
    complain(run->Front, "cannot read '%a': %a", line.file, statusWords(status));
    return status == EFI_NOT_FOUND ? notFound() : failed(status);
  }
  status = send(run, line, tries, data, size);
  poolFree(data);
  return EFI_ERROR(status) ? failed(status) : succeeded();
}

XYL_RESULT runTransfer(JOB_RUN *run, const JOB_LINE &line) {
  jobs::TransferLine transfer = transferOf(line);
  return line.Transfer == jobs::Transfer::fetch ? runFetch(run, transfer, line.Tries)
                                                : runSend(run, transfer, line.Tries);
}

XYL_RESULT fetchJob(JOB_RUN *run) {
  say(run->Front, "==> %a\n", textOf(run->NamedBy.Source.Text));
  run->File.Network = run->NamedBy.Network;
  network::Answer answer;
  XYL_RESULT result = fetch(run, sourceOf(run->NamedBy), run->NamedBy.Source.Tries, JOB_FILE_LIMIT, &answer);
  if (!isFailure(result)) {
    putBytes(&run->Fetched, answer.data, answer.size);
  }
  return run->Fetched.Failed ? failed(EFI_OUT_OF_RESOURCES) : result;
}

EFI_STATUS sendResult(JOB_RUN *run, const TEXT &result) {
  const JOB_LINE &line = run->File.Result;
  say(run->Front, "==> %a\n", textOf(line.Text));
  EFI_STATUS status =
      result.Failed ? EFI_OUT_OF_RESOURCES : send(run, transferOf(line), line.Tries, textOf(result), result.Length);
  if (EFI_ERROR(status)) {
    complain(run->Front, "the result is not sent: %a", statusWords(status));
  }
  return status;
}
