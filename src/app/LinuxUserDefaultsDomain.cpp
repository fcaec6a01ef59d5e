// Linux: the defaults property list the running application uses too.
#include "UserDefaultsDomain.h"

#include "platform/linux/PlistDefaultsDomain.h"

namespace tamsinvale {

std::unique_ptr<DefaultsDomain> openUserDefaultsDomain()
{
    return std::make_unique<PlistDefaultsDomain>(PlistDefaultsDomain::standardPath());
}

}  // namespace tamsinvale
