// A Redfish request as methods of a change document.
#pragma once

#include "client/verbs/verbs.h"
#include "host/redfish/messages.h"
#include "host/redfish/resources.h"

struct REDFISH_REQUEST {
  const REDFISH_MODEL &model;
  std::string method;
  std::string uri;
  std::string body;
};

// Gives the text back that no command has taken over.
struct WRITER_HOLDER {
  CHANGE_WRITER writer = {};

  WRITER_HOLDER() = default;
  WRITER_HOLDER(const WRITER_HOLDER &) = delete;
  WRITER_HOLDER &operator=(const WRITER_HOLDER &) = delete;
  ~WRITER_HOLDER() { freeText(&writer.Text); }
};

// Writes the methods; none for a change to what is there already. *notes gets what a change leaves out, since it cannot
// be written. Throws REDFISH_REFUSAL for what cannot be expressed or what the configuration does not allow.
void putRequest(const REDFISH_REQUEST &request, const REDFISH_RESOURCES &resources, CHANGE_WRITER *writer,
                std::vector<REDFISH_PROBLEM> *notes);
inline bool isEmpty(const CHANGE_WRITER &writer) {
  return writer.Text.Length == 0 && !writer.Text.Failed;
}

// The resource that a request to the URI is about, which is that of an action as well; "" for none.
std::string targetOf(const std::string &uri, const REDFISH_RESOURCES &resources);

// What may be asked of resources and actions beside reading: methods by URI.
Json methodsOf(const REDFISH_RESOURCES &resources);

// A request for one resource.
struct REDFISH_CALL {
  const REDFISH_MODEL &model;
  Json body;            // null where there is none
  const Json &resource; // as it is
  UINT64 id;            // of what the URI names
  CHANGE_WRITER *writer;
  std::vector<REDFISH_PROBLEM> *notes; // what a change leaves out
};

// What the body of a PATCH wants by the table, something at least; keeps the notes.
struct REDFISH_WANTS readChange(const REDFISH_CALL &call, REDFISH_TABLE table);

// What may be asked for of volumes.
void createVolume(const REDFISH_CALL &call);
void changeVolume(const REDFISH_CALL &call);
void deleteVolume(const REDFISH_CALL &call);
void checkVolume(const REDFISH_CALL &call);
void initializeVolume(const REDFISH_CALL &call);

// Makes the disk a hot spare of the kind, of those virtual disks where it is a dedicated one.
void putHotspare(CHANGE_WRITER *writer, UINT64 disk, const char *kind, const std::vector<UINT64> &volumes);
// Refuses a disk that cannot be taken, for a property with that value.
void needReady(const REDFISH_MODEL &model, const Json &disk, const std::string &property, const std::string &value);
