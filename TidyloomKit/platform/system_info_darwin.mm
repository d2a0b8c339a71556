// The one volume figure that needs Foundation: capacity for important usage (purgeable space included).
#import <Foundation/Foundation.h>

#include <cstdint>
#include <filesystem>
#include <optional>

namespace tidyloom::platform {

std::optional<std::int64_t> importantUsageCapacity(const std::filesystem::path& path) {
  @autoreleasepool {
    NSURL* url = [NSURL fileURLWithPath:[NSString stringWithUTF8String:path.c_str()] isDirectory:YES];
    NSNumber* value = nil;
    if (![url getResourceValue:&value forKey:NSURLVolumeAvailableCapacityForImportantUsageKey error:nil] || !value) {
      return std::nullopt;
    }
    return value.longLongValue;
  }
}

}  // namespace tidyloom::platform
