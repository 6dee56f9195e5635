#include "images/setup/bytes.h"

namespace xyl::images::setup {

__attribute__((noinline)) void release(void *memory) {
  poolFree(memory);
}

__attribute__((noinline)) Bytes::~Bytes() {
  release(data_);
}

void Bytes::put(const void *bytes, UINTN size) {
  if (failed_ || size == 0) {
    return;
  }
  if (capacity_ - size_ < size) {
    UINTN capacity = (size_ + size) * 2 + 1024;
    UINT8 *larger = static_cast<UINT8 *>(poolAllocate(capacity));
    if (larger == nullptr) {
      failed_ = true;
      return;
    }
    if (size_ != 0) {
      copyBytes(larger, data_, size_);
    }
    release(data_);
    data_ = larger;
    capacity_ = capacity;
  }
  copyBytes(data_ + size_, bytes, size);
  size_ += size;
}

} // namespace xyl::images::setup
