#include "api/startsteps.h"

#include "config/zorconfig.h"
#include "connection/zorconnectionfunctions.h"
#include "convert/zorconverter.h"
#include "driver/cpicconnection.h"
#include "repository/zorsystemdescriptions.h"
#include "server/zorserver.h"

namespace {

// From the ground up: a step may use what the ones before it made.
constexpr StartStep steps[] = {
    {"ZorConverter::init", ZorConverter::init},
    {"ZorConfig::init", ZorConfig::init},
    {"CpicConnection::init", CpicConnection::init},
    {"ZorConnection::init", ZorConnectionFunctions::init},
    {"ZorSystemDescriptions::init", ZorSystemDescriptions::init},
    {"ZorServer::init", ZorServer::init},
};

}  // namespace

std::span<const StartStep> startSteps() noexcept {
    return steps;
}
