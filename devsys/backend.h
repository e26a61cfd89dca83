/**
 * @file
 * What all sessions of a back-end share: its names, its users, and where its findings go.
 */
#pragma once

#include <atomic>
#include <string>

#include "devsys/dictionaryfaults.h"
#include "devsys/partnerprofile.h"
#include "devsys/recorder.h"
#include "devsys/users.h"
#include "devsys/violations.h"

namespace zordev {

/** What a back-end calls itself. */
struct BackEndNames {
    std::string host = "zordev";
    std::string systemId = "ZDV";
    std::string systemNumber = "00";
    std::string release = "753";
    std::string partnerType = "3"; /**< "2" is an old kind of back-end, "E" and "R" are other programs. */

    /** The number that the release stands for; a letter in its third place counts from 0. */
    unsigned version() const;
};

/** What all sessions share; outlives them. */
struct BackEnd {
    BackEndNames names;
    PartnerProfile profile;
    UserTable users;
    ViolationLog& violations;
    Recorder& recorder;
    std::atomic<DictionaryFault> dictionaryFault = DictionaryFault::none;
};

}  // namespace zordev
