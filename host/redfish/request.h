// A Redfish request as methods of a change document.
#pragma once

#include "client/verbs/verbs.h"
#include "host/redfish/messages.h"
#include "host/redfish/resources.h"

namespace xyl::host::redfish {

struct Request {
  const Model &model;
  std::string method;
  std::string uri;
  std::string body;
};

// Gives the text back that no command has taken over.
struct WriterHolder {
  client::ChangeWriter writer = {};

  WriterHolder() = default;
  WriterHolder(const WriterHolder &) = delete;
  WriterHolder &operator=(const WriterHolder &) = delete;
  ~WriterHolder() { client::freeText(&writer.text); }
};

// Writes the methods; none for a change to what is there already. *notes gets what a change leaves out, since it cannot
// be written. Throws Refusal for what cannot be expressed or what the configuration does not allow.
void putRequest(const Request &request, const Resources &resources, client::ChangeWriter *writer,
                std::vector<Problem> *notes);
inline bool isEmpty(const client::ChangeWriter &writer) {
  return writer.text.length == 0 && !writer.text.failed;
}

// The resource that a request to the URI is about, which is that of an action as well; "" for none.
std::string targetOf(const std::string &uri, const Resources &resources);

// What may be asked of resources and actions beside reading: methods by URI.
Json methodsOf(const Resources &resources);

// A request for one resource.
struct Call {
  const Model &model;
  Json body;            // null where there is none
  const Json &resource; // as it is
  UINT64 id;            // of what the URI names
  client::ChangeWriter *writer;
  std::vector<Problem> *notes; // what a change leaves out
};

// What the body of a PATCH wants by the table, something at least; keeps the notes.
struct Wants readChange(const Call &call, Table table);

// What may be asked for of volumes.
void createVolume(const Call &call);
void changeVolume(const Call &call);
void deleteVolume(const Call &call);
void checkVolume(const Call &call);
void initializeVolume(const Call &call);

// Makes the disk a hot spare of the kind, of those virtual disks where it is a dedicated one.
void putHotspare(client::ChangeWriter *writer, UINT64 disk, const char *kind, const std::vector<UINT64> &volumes);
// Refuses a disk that cannot be taken, for a property with that value.
void needReady(const Model &model, const Json &disk, const std::string &property, const std::string &value);

} // namespace xyl::host::redfish
