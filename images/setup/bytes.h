// Bytes that grow as they are written.
#pragma once

#include "base/pool.h"

namespace xyl::images::setup {

// As poolFree, and in one place: images for flash are to be small.
void release(void *memory);

// In pool memory. When memory has run out what is written is lost, and failed tells.
class Bytes {
public:
  Bytes() = default;
  Bytes(const Bytes &) = delete;
  Bytes &operator=(const Bytes &) = delete;
  ~Bytes();

  UINT8 *data() const { return data_; }
  UINTN size() const { return size_; }
  bool failed() const { return failed_; }
  void fail() { failed_ = true; }
  void cut(UINTN size) { size_ = size; }

  void put(const void *bytes, UINTN size);
  template <class T> void put(const T &value) { put(&value, sizeof(value)); }

private:
  UINT8 *data_ = nullptr;
  UINTN size_ = 0;
  UINTN capacity_ = 0;
  bool failed_ = false;
};

} // namespace xyl::images::setup
