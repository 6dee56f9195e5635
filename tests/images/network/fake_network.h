// A network card with HTTP for the front that boots from a medium, and the server at its other end.
#pragma once

#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/support/world.h"
#include "uefi/network.h"

// What the server got, and what it says to it.
struct Asked {
  UINT32 method;
  std::string url, body, login;
};
struct Reply {
  UINT32 number = 3; // of the code, as the protocol has it: 200
  std::vector<std::pair<std::string, std::string>> fields;
  std::string body; // as it stands on the wire; behind it the connection ends
};

// Books on children, events and tokens; every call of a protocol can fail or never end.
struct Network {
  static inline std::function<Reply(const Asked &)> server;
  static inline std::vector<Asked> asked;
  static inline size_t piece; // bytes of the body that come at once
  static inline int calls, failAt, hangAt;
  static inline int children, events;
  static inline bool isOpen; // a token waits that nobody cancelled
  static inline UINT32 policy;
  static inline std::map<int, std::string> settings;
  static inline std::string address; // of the card, of 4 bytes; what DHCP gives
  static inline std::vector<EFI_HANDLE> handles;

  static void begin(World &world, size_t cards = 1) {
    world_ = &world;
    server = [](const Asked &) { return Reply{21, {{"Content-Length", "0"}}, ""}; };
    asked.clear();
    settings.clear();
    piece = 1 << 20;
    calls = failAt = hangAt = children = events = 0;
    isOpen = false;
    policy = EFI_IP4_CONFIG2_STATIC;
    address = std::string("\x0A\0\2\x0F", 4);
    world.services->CreateEvent = [](UINT32, EFI_TPL, EFI_EVENT_NOTIFY notify, void *context, EFI_EVENT *event)
                                      EFIAPI -> EFI_STATUS {
      notify_ = notify;
      context_ = context;
      *event = &notify_;
      return step(&events);
    };
    world.services->CloseEvent = [](EFI_EVENT) EFIAPI -> EFI_STATUS {
      --events;
      return EFI_SUCCESS;
    };
    handles.assign(cards, nullptr);
    for (EFI_HANDLE &handle : handles) {
      world.services->InstallMultipleProtocolInterfaces(&handle, &bindingGuid, &binding_, &configGuid, &config_,
                                                        static_cast<void *>(nullptr));
    }
  }
  static void end() {
    for (EFI_HANDLE handle : handles) {
      world_->services->UninstallMultipleProtocolInterfaces(handle, &bindingGuid, &binding_, &configGuid, &config_,
                                                            static_cast<void *>(nullptr));
    }
  }
  static void expectClosed(const std::string &where) {
    EXPECT_EQ(children, 0) << where;
    EXPECT_EQ(events, 0) << where;
    EXPECT_FALSE(isOpen) << where;
    EXPECT_EQ(policy, EFI_IP4_CONFIG2_STATIC) << where;
  }

private:
  static constexpr EFI_GUID bindingGuid = EFI_HTTP_SERVICE_BINDING_PROTOCOL_GUID;
  static constexpr EFI_GUID configGuid = EFI_IP4_CONFIG2_PROTOCOL_GUID;
  static constexpr EFI_GUID httpGuid = EFI_HTTP_PROTOCOL_GUID;

  static EFI_STATUS step(int *book) {
    EFI_STATUS status = ++calls == failAt ? EFI_DEVICE_ERROR : EFI_SUCCESS;
    if (book != nullptr && !EFI_ERROR(status)) {
      ++*book;
    }
    return status;
  }
  // Firmware's word for a token: at once, or never.
  static EFI_STATUS take(EFI_HTTP_TOKEN *token, EFI_STATUS status) {
    if (EFI_STATUS failed = step(nullptr); EFI_ERROR(failed)) {
      return failed;
    }
    isOpen = calls == hangAt;
    if (!isOpen) {
      token->Status = status;
      notify_(token->Event, context_);
    }
    return EFI_SUCCESS;
  }
  static const CHAR8 *fieldOf(const EFI_HTTP_MESSAGE &message, const std::string &name) {
    const CHAR8 *value = "";
    for (UINTN i = 0; i < message.HeaderCount; ++i) {
      value = name == message.Headers[i].FieldName ? message.Headers[i].FieldValue : value;
    }
    return value;
  }
  static EFI_STATUS EFIAPI request(EFI_HTTP_PROTOCOL *, EFI_HTTP_TOKEN *token) {
    const EFI_HTTP_MESSAGE &message = *token->Message;
    auto *data = static_cast<EFI_HTTP_REQUEST_DATA *>(message.Data);
    std::u16string url = data->Url;
    Asked got = {data->Method, std::string(url.begin(), url.end()),
                 std::string(static_cast<const char *>(message.Body), message.BodyLength),
                 fieldOf(message, "Authorization")};
    if (data->Method != EFI_HTTP_GET) {
      EXPECT_EQ(fieldOf(message, "Content-Length"), std::to_string(message.BodyLength));
    }
    EFI_STATUS status = take(token, EFI_SUCCESS);
    if (!EFI_ERROR(status) && !isOpen) {
      asked.push_back(got);
      reply_ = server(got);
      at_ = 0;
    }
    return status;
  }
  static EFI_STATUS EFIAPI response(EFI_HTTP_PROTOCOL *, EFI_HTTP_TOKEN *token) {
    EFI_HTTP_MESSAGE &message = *token->Message;
    if (message.Data != nullptr) {
      EXPECT_EQ(message.BodyLength, 0u); // or firmware would wait for a body
      static_cast<EFI_HTTP_RESPONSE_DATA *>(message.Data)->StatusCode = reply_.number;
      void *headers = nullptr;
      world_->services->AllocatePool(EfiBootServicesData, reply_.fields.size() * sizeof(EFI_HTTP_HEADER), &headers);
      message.Headers = static_cast<EFI_HTTP_HEADER *>(headers);
      for (auto &[name, value] : reply_.fields) {
        if (headers != nullptr) {
          message.Headers[message.HeaderCount++] = {name.c_str(), value.c_str()};
        }
      }
      return take(token, reply_.number >= 10 ? EFI_HTTP_ERROR : EFI_SUCCESS);
    }
    if (at_ == reply_.body.size()) {
      return EFI_CONNECTION_FIN;
    }
    message.BodyLength = reply_.body.copy(static_cast<char *>(message.Body), std::min(piece, message.BodyLength), at_);
    at_ += message.BodyLength;
    return take(token, EFI_SUCCESS);
  }
  static EFI_STATUS EFIAPI setData(EFI_IP4_CONFIG2_PROTOCOL *, int type, UINTN size, const void *data) {
    if (EFI_STATUS status = step(nullptr); EFI_ERROR(status)) {
      policy = EFI_IP4_CONFIG2_STATIC; // what was not put back is not looked at then
      return status;
    }
    if (type == EFI_IP4_CONFIG2_POLICY) {
      UINT32 wanted = *static_cast<const UINT32 *>(data);
      settings[EFI_IP4_CONFIG2_INTERFACE_INFO_TYPE] = wanted == EFI_IP4_CONFIG2_DHCP ? address : std::string(4, 0);
      policy = wanted;
      return EFI_SUCCESS;
    }
    settings[type].assign(static_cast<const char *>(data), size);
    if (type == EFI_IP4_CONFIG2_MANUAL_ADDRESS) {
      settings[EFI_IP4_CONFIG2_INTERFACE_INFO_TYPE] = settings[type].substr(0, 4);
      return EFI_NOT_READY;
    }
    return EFI_SUCCESS;
  }
  static EFI_STATUS EFIAPI getData(EFI_IP4_CONFIG2_PROTOCOL *, int type, UINTN *size, void *data) {
    if (type == EFI_IP4_CONFIG2_POLICY) {
      *static_cast<UINT32 *>(data) = policy;
      return EFI_SUCCESS;
    }
    if (type == EFI_IP4_CONFIG2_INTERFACE_INFO_TYPE) {
      auto *info = static_cast<EFI_IP4_CONFIG2_INTERFACE_INFO *>(data);
      std::string("\x52\x54\0\x12\x34\x56", 6).copy(reinterpret_cast<char *>(info->HwAddress), 6);
      settings[type].copy(reinterpret_cast<char *>(info->StationAddress), 4);
      return EFI_SUCCESS;
    }
    if (settings.count(type) == 0) {
      return EFI_NOT_FOUND;
    }
    *size = settings[type].copy(static_cast<char *>(data), *size);
    return EFI_SUCCESS;
  }

  static inline World *world_;
  static inline Reply reply_;
  static inline size_t at_;
  static inline EFI_EVENT_NOTIFY notify_;
  static inline void *context_;
  static inline EFI_HTTP_PROTOCOL http_ = {nullptr,
                                           [](EFI_HTTP_PROTOCOL *, EFI_HTTP_CONFIG_DATA *)
                                               EFIAPI -> EFI_STATUS { return step(nullptr); },
                                           request,
                                           [](EFI_HTTP_PROTOCOL *, EFI_HTTP_TOKEN *) EFIAPI -> EFI_STATUS {
                                             isOpen = false;
                                             return EFI_SUCCESS;
                                           },
                                           response,
                                           [](EFI_HTTP_PROTOCOL *) EFIAPI -> EFI_STATUS { return EFI_SUCCESS; }};
  static inline EFI_SERVICE_BINDING_PROTOCOL binding_ = {
      [](EFI_SERVICE_BINDING_PROTOCOL *, EFI_HANDLE *child) EFIAPI -> EFI_STATUS {
        EFI_STATUS status = step(&children);
        *child = nullptr;
        if (!EFI_ERROR(status)) {
          world_->services->InstallProtocolInterface(child, &httpGuid, 0, &http_);
        }
        return status;
      },
      [](EFI_SERVICE_BINDING_PROTOCOL *, EFI_HANDLE child) EFIAPI -> EFI_STATUS {
        --children;
        return world_->services->UninstallProtocolInterface(child, &httpGuid, &http_);
      }};
  static inline EFI_IP4_CONFIG2_PROTOCOL config_ = {setData, getData, {}};
};
