// The embedded host's script service. It runs no script engine; it knows the scripts the
// effects run by their shape: the project-path question, yes-or-no questions (answered with
// their default) and dialogs, which take the answer queued for their title or else answer as a
// cancelled dialog does (a text dialog its text, the others nothing).
#include <algorithm>
#include <cstring>
#include <regex>

#include "standalone/EmbeddedHost.h"

namespace tv::standalone {

namespace {

// The value of `var name= '...'` or `var name= "..."` in a script.
std::string ScriptVariable(const std::string& script, const std::string& name) {
    const std::regex pattern("var " + name + "= ?(['\"])(.*?)\\1;");
    std::smatch m;
    return std::regex_search(script, m, pattern) ? m[2].str() : std::string();
}

}  // namespace

void EmbeddedHost::queueDialogAnswer(const std::string& title, std::string answer) {
    dialogAnswers_.emplace_back(title, std::move(answer));
}

size_t EmbeddedHost::pendingDialogAnswers() const {
    return dialogAnswers_.size();
}

PF_Err EmbeddedHost::executeScript(const std::string& script, std::string& result,
                                   std::string& error) {
    result.clear();
    error.clear();
    if (script.rfind("x = app.project.file", 0) == 0) {
        result = projectPath_;
        return PF_Err_NONE;
    }
    if (script.rfind("confirm(", 0) == 0) {
        // confirm("message",default,"title"): the default answer.
        const size_t comma = script.find("\",");
        result =
            comma != std::string::npos && script.compare(comma + 2, 1, "1") == 0 ? "true" : "false";
        return PF_Err_NONE;
    }
    const std::string title = ScriptVariable(script, "title");
    if (title.empty()) {
        error = "this host runs no script engine";
        return PF_Err_NONE;
    }
    const auto given = std::find_if(dialogAnswers_.begin(), dialogAnswers_.end(),
                                    [&](const auto& a) { return a.first == title; });
    if (given != dialogAnswers_.end()) {
        result = given->second;
        dialogAnswers_.erase(given);
        return PF_Err_NONE;
    }
    // Cancelled: a text dialog answers the text that went in.
    result = ScriptVariable(script, "str");
    return PF_Err_NONE;
}

int32_t EmbeddedHost::clickParam(EffectInstance& instance, int32_t index, const A_Time& time) {
    PF_EventExtra event;
    event.e_type = PF_Event_DO_CLICK;
    event.paramIndex = index;
    callEffect(instance, PF_Cmd_EVENT, time, &event);
    return event.changeFlags;
}

std::string EmbeddedHost::drawParam(EffectInstance& instance, int32_t index, const A_Time& time) {
    PF_EventExtra event;
    event.e_type = PF_Event_DRAW;
    event.paramIndex = index;
    if (callEffect(instance, PF_Cmd_EVENT, time, &event) != PF_Err_NONE) return {};
    return std::string(event.drawnText, strnlen(event.drawnText, sizeof event.drawnText));
}

}  // namespace tv::standalone
