// What goes over the members of a controller's state, in the order of the file: one that writes or one that reads.
#pragma once

#include <functional>

#include "driver/xml/xml.h"

namespace xyl::host {

// Every call names a member of the file's current object, and gives its value, which a reader replaces. A reader throws
// ClientError for a member that is not of its kind.
struct StateVisitor {
  using Item = std::function<void(StateVisitor &)>;
  using Items = std::function<void(StateVisitor &, size_t index)>;

  virtual ~StateVisitor() = default;

  virtual void number(const char *name, UINT64 &value, UINT64 limit) = 0;
  virtual void numbers(const char *name, UINT32 *values, UINT64 &count, UINT64 limit) = 0;
  virtual void hex(const char *name, UINT64 &value, unsigned digits) = 0;
  virtual void flag(const char *name, bool &value) = 0;
  // A text of at most units - 1 characters, ended; of at most width characters, padded as in a record.
  virtual void text(const char *name, CHAR16 *value, size_t units) = 0;
  virtual void text(const char *name, CHAR8 *value, size_t units) = 0;
  virtual void fixed(const char *name, CHAR8 *value, size_t width) = 0;
  virtual void bytes(const char *name, UINT8 *value, size_t count) = 0;
  // A value of a table, one that may be missing, or the bits of a mask over the values of some tables.
  virtual void named(const char *name, UINT64 &value, const driver::VALUE_NAME_TABLE *table, UINT64 limit) = 0;
  virtual void namedOrNone(const char *name, bool &present, UINT64 &value, const driver::VALUE_NAME_TABLE *table,
                           UINT64 limit) = 0;
  virtual void mask(const char *name, UINT64 &value, const driver::FieldTable &groups, UINT64 limit) = 0;
  // A command or object type or SIM_ANY; an error status.
  virtual void numberOrAny(const char *name, UINT32 &value, const driver::VALUE_NAME_TABLE *table) = 0;
  virtual void status(const char *name, EFI_STATUS &value) = 0;

  virtual void object(const char *name, const Item &item) = 0;
  // A list of objects; a reader sets count before it asks for items.
  virtual void list(const char *name, UINT64 &count, UINT64 limit, const Items &items) = 0;
};

} // namespace xyl::host
