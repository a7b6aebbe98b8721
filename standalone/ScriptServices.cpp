// The embedded host's script service. It runs no script engine; it knows the scripts the
// effects run by their shape: the project-path question, yes-or-no questions (answered with
// their default) and dialogs, which take the answer queued for their title or else answer as a
// cancelled dialog does (a text dialog its text, the import dialog ok 0 with its boxes as they
// stand, the export dialog nothing). A script whose text a scripting engine could not parse
// (a name holding the quote that delimits it) fails as it would there: the answer is empty.
#include <algorithm>
#include <cstring>
#include <cctype>
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

// The value of `var name= 123;` in a script; 0 when it is not there.
int ScriptNumber(const std::string& script, const std::string& name) {
    const std::regex pattern("var " + name + "= ?(-?[0-9]+);");
    std::smatch m;
    return std::regex_search(script, m, pattern) ? std::stoi(m[1].str()) : 0;
}

// False when the script's string literals break its syntax as a script engine reads it: a
// literal left open at a line end or at the end, or a literal followed directly by a word or
// another literal (what a text holding the literal's own quote leaves behind).
bool ScriptParses(const std::string& script) {
    bool afterLiteral = false;
    for (size_t i = 0; i < script.size();) {
        const char c = script[i];
        if (c == '\'' || c == '"') {
            if (afterLiteral) return false;
            size_t j = i + 1;
            for (; j < script.size() && script[j] != c; ++j) {
                if (script[j] == '\n') return false;
                if (script[j] == '\\') ++j;
            }
            if (j >= script.size()) return false;
            i = j + 1;
            afterLiteral = true;
            continue;
        }
        const auto u = static_cast<unsigned char>(c);
        if (std::isspace(u)) {
            ++i;
            continue;
        }
        if (afterLiteral && (std::isalnum(u) || c == '_' || c == '$')) return false;
        afterLiteral = false;
        ++i;
    }
    return true;
}

// What a cancelled dialog answers: the import dialog ok 0 with the path box and checkboxes as
// they stand; a text dialog the text that went in; the export dialog (no `str`) nothing.
std::string CancelledAnswer(const std::string& script, const std::string& title) {
    if (title == "Import OBJ") {
        const bool rel = ScriptNumber(script, "rel") != 0;
        const std::string box = ScriptVariable(script, rel ? "rel_str" : "in_str");
        const bool seq = ScriptNumber(script, "seq") != 0;
        return "0\n" + box + "\n" + (seq ? "1" : "0") + "\n" +
               (ScriptNumber(script, "alpha") != 0 ? "1" : "0") + "\n" + (rel ? "1" : "0") + "\n" +
               (ScriptNumber(script, "reopen") != 0 ? "1" : "0");
    }
    return ScriptVariable(script, "str");
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
    if (!ScriptParses(script)) {
        // The dialog never opens; an answer waiting for it is spent, as the click was made.
        const std::string title = ScriptVariable(script, "title");
        const auto given = std::find_if(dialogAnswers_.begin(), dialogAnswers_.end(),
                                        [&](const auto& a) { return a.first == title; });
        if (!title.empty() && given != dialogAnswers_.end()) dialogAnswers_.erase(given);
        error = "SyntaxError: the script does not parse";
        return PF_Err_NONE;
    }
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
    result = CancelledAnswer(script, title);
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
    return event.drawnText;
}

}  // namespace tv::standalone
