// The attachment of the desktop front end: the partner says what to start, it is started here, and the
// partner is told how that went.

#include "connection/frontend.h"
#include "connection/zorconnection.h"
#include "connection/zorconnectionfunctions.h"
#include "data/zorfunction.h"

namespace {

/** ms that the front end may take for its first line, as long as a partner's first answer may take. */
constexpr int frontEndTimeout = 180000;

/** Mode in which the front end is hidden after each call. */
constexpr unsigned short hideAfterCall = 2;

void setInt(ZorFunction& function, std::string_view parameter, ZOR_INT value) {
    function.setValue(function.getIndex(parameter), value);
}

void setText(ZorFunction& function, std::string_view parameter, std::string_view text) {
    function.setValue(function.getIndex(parameter), text.data(), static_cast<unsigned>(text.size()),
                      ZORTYPE_CHAR);
}

KEL_string textOf(ZorFunction& function, std::string_view parameter) {
    KEL_string text;
    function.getValue(function.getIndex(parameter), text);
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

}  // namespace

void ZorConnection::prepareGui(const ZorOptions& options, ZorFunction& prepare) {
    setInt(prepare, "DEBUG", options.ubix_debug);
    setInt(prepare, "GUI", options.use_kelgui);
    if (options.vsl_mode != 0) setInt(prepare, "VSL", options.vsl_mode);
    prepare.zorCallReceive(*this, ZORID_NotUsed);
}

void ZorConnection::finishGui(std::string_view guiId, const FrontEndAnswer& answer) {
    ZorFunction finish(ZorConnectionFunctions::get(ZorConnectionFunction::SYSTEM_FINISH_ATTACH_GUI));
    setText(finish, "KELGUI_ID", guiId);
    setText(finish, answer.started ? "CONNECTSTRING" : "MESSAGE", answer.text);
    finish.zorCallReceive(*this, ZORID_NotUsed);
}

void ZorConnection::attachGui(const ZorOptions& options) {
    FrontEndAnswer answer;
    try {
        ZorFunction prepare(ZorConnectionFunctions::get(ZorConnectionFunction::SYSTEM_PREPARE_ATTACH_GUI));
        prepareGui(options, prepare);
        // The front end takes the same way as this connection up to the gateway's host, and on from there.
        const KEL_string route = gwhost.substr(0, gwhost.find("/S/")) + textOf(prepare, "START_GUI_COMMAND");
        const KEL_string guiId = textOf(prepare, "KELGUI_ID");
        answer = launchGui(frontEndCommand(control.sysid.view(), route, guiId), frontEndTimeout);
        finishGui(guiId, answer);
    } catch (const ZorBaseException& exception) {
        throw ZorStartGUIException(exception.getMessage());
    }
    if (!answer.started) throw ZorStartGUIException(answer.text);
}

void ZorConnection::hideGui() {
    if (use_kelgui != hideAfterCall) [[likely]]
        return;
    ZorFunction hide(ZorConnectionFunctions::get(ZorConnectionFunction::SYSTEM_INVISIBLE_GUI));
    hide.zorCallReceive(*this, ZORID_NotUsed);
}
