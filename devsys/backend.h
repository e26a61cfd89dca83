/**
 * @file
 * What all sessions of a back-end share: its names, its users, and where its findings go.
 */
#pragma once

#include <string>

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
};

/** What all sessions share; outlives them. */
struct BackEnd {
    BackEndNames names;
    UserTable users;
    ViolationLog& violations;
    Recorder& recorder;
};

}  // namespace zordev
