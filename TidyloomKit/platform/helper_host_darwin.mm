// The main bundle's identifier and the daemon's registration with the service manager.
#import <Foundation/Foundation.h>
#import <ServiceManagement/ServiceManagement.h>

#include "platform/helper_host.h"

namespace tidyloom::platform {

HelperHostFacts helperHostFacts(std::string_view /*clientIdentifier*/, std::string_view label) {
  HelperHostFacts facts;
  facts.endpoint = std::string(label);
  facts.signedPeers = true;
  if (NSString* identifier = NSBundle.mainBundle.bundleIdentifier) facts.bundleIdentifier = identifier.UTF8String;
  SMAppService* service = [SMAppService daemonServiceWithPlistName:@"com.tidyloom.helper.plist"];
  switch (service.status) {
    case SMAppServiceStatusEnabled:
      facts.registration = HelperRegistrationStatus::enabled;
      break;
    case SMAppServiceStatusRequiresApproval:
      facts.registration = HelperRegistrationStatus::requiresApproval;
      break;
    case SMAppServiceStatusNotRegistered:
      facts.registration = HelperRegistrationStatus::notRegistered;
      break;
    default:
      facts.registration = HelperRegistrationStatus::notFound;
  }
  return facts;
}

}  // namespace tidyloom::platform
