#include "devsys/backend.h"

namespace zordev {

unsigned BackEndNames::version() const {
    if (partnerType == "2") return 200;
    if (release.size() != 3) return 0;
    const char last = release[2];
    const int units = last >= '0' && last <= '9' ? last - '0' : last - 'A';
    return static_cast<unsigned>((release[0] - '0') * 100 + (release[1] - '0') * 10 + units);
}

}  // namespace zordev
