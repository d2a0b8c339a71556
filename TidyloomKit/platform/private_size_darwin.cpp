// macOS: the private size of a file (bytes not shared with clones) from getattrlist.
#include <sys/attr.h>
#include <unistd.h>

#include "platform/private_size.h"

namespace tidyloom::platform {

std::optional<std::uint64_t> privateSize(int directoryFd, const char* name) {
  attrlist request{};
  request.bitmapcount = ATTR_BIT_MAP_COUNT;
  request.commonattr = ATTR_CMN_RETURNED_ATTRS;
  request.forkattr = ATTR_CMNEXT_PRIVATESIZE;
  struct {
    std::uint32_t length;
    attribute_set_t returned;
    off_t privateSize;
  } __attribute__((packed)) reply{};
  if (::getattrlistat(directoryFd, name, &request, &reply, sizeof reply,
                      FSOPT_NOFOLLOW | FSOPT_ATTR_CMN_EXTENDED | FSOPT_RETURN_REALDEV) != 0) {
    return std::nullopt;
  }
  if (!(reply.returned.forkattr & ATTR_CMNEXT_PRIVATESIZE)) return std::nullopt;
  return static_cast<std::uint64_t>(reply.privateSize);
}

}  // namespace tidyloom::platform
