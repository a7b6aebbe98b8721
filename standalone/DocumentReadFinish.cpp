// After a document is read, what a host does when it opens a project (each instance brings its
// panel up to date, toolkit menus add their choice, idle tasks run), with the document's name
// filters kept as its last word; then the document's clicks and their dialogs' answers.
#include <algorithm>

#include "standalone/DocumentRead.h"
#include "standalone/DocumentText.h"

namespace tv::standalone::docread {

void FinishLoading(const Reader& r) {
    EmbeddedHost& host = r.host;
    // The document is the user's last word: a name filter it gives is used as if typed after the
    // instance was set up. Its bytes are kept across the first panel update (which writes a
    // filter from its popup once); a marker stands in for them meanwhile, to learn whether the
    // update writes a filter of its own.
    static const std::string kUnwritten = "\x01(not written by the panel update)";
    std::vector<std::vector<uint8_t>> givenBytes;
    for (const auto& [instance, index] : r.textsGiven) {
        PF_ParamDef& def = instance->params[size_t(index)].value;
        givenBytes.push_back(host.handleBytes(def.u.arbData));
        host.disposeHandle(def.u.arbData);
        def.u.arbData = host.handleFromBytes(MakeTextRecord(kUnwritten));
    }
    // As a host does when it opens a project: each instance brings its panel up to date.
    for (auto& comp : host.project().comps)
        for (auto& layer : comp->layers)
            for (auto& instance : layer->effects)
                host.callEffect(*instance, PF_Cmd_UPDATE_PARAMS_UI, A_Time{0, comp->timeScale()},
                                nullptr);
    // A toolkit menu a document sets is a choice made: the chosen effect is added at idle time
    // and the menu returns to "None".
    for (auto& comp : host.project().comps)
        for (auto& layer : comp->layers)
            for (size_t e = 0; e < layer->effects.size(); ++e) {
                EffectInstance& instance = *layer->effects[e];
                const InstalledEffect* fx = host.installedEffect(instance.key);
                if (!fx || fx->matchName != "KDL TAVRKIT") continue;
                for (int32_t index = 1; index <= 3; ++index)
                    if (instance.params[size_t(index)].value.u.popup != 1) {
                        PF_UserChangedParamExtra extra;
                        extra.param_index = index;
                        host.callEffect(instance, PF_Cmd_USER_CHANGED_PARAM,
                                        A_Time{0, comp->timeScale()}, &extra);
                    }
            }
    // Unless the popup's own choice wrote the document's very text, a popup just before the
    // text with a "Custom" row, which the document left alone, is set to Custom (so that the
    // text is what the effect reads); the document's text goes back in. A saved instance (one
    // with its record) has its popup as saved.
    for (size_t i = 0; i < r.textsGiven.size(); ++i) {
        const auto& [instance, index] = r.textsGiven[i];
        PF_ParamDef& def = instance->params[size_t(index)].value;
        const std::vector<uint8_t> written = host.handleBytes(def.u.arbData);
        if (written == givenBytes[i]) continue;
        const InstalledEffect* fx = host.installedEffect(instance->key);
        const ParamSpec* popup = index > 1 ? &fx->params[size_t(index - 1)] : nullptr;
        const bool saved = std::find(r.recordsGiven.begin(), r.recordsGiven.end(), instance) !=
                           r.recordsGiven.end();
        if (popup && popup->type == PF_Param_POPUP && !saved &&
            std::find(r.popupsGiven.begin(), r.popupsGiven.end(),
                      std::make_pair(instance, index - 1)) == r.popupsGiven.end())
            for (int32_t k = 1; k <= PopupEntryCount(*popup); ++k)
                if (PopupEntry(*popup, k) == "Custom")
                    instance->params[size_t(index - 1)].value.u.popup = k;
        if (def.u.arbData) host.disposeHandle(def.u.arbData);
        def.u.arbData = host.handleFromBytes(givenBytes[i]);
    }
    host.runIdleTasks();
    // The document's clicks, in order, each with its dialog's answer ready.
    for (const DialogClick& c : r.clicks) {
        host.queueDialogAnswer(c.title, c.answer);
        if (c.paramIndex > 0)
            host.clickParam(*c.instance, c.paramIndex, c.time);
        else
            host.callEffect(*c.instance, PF_Cmd_DO_DIALOG, c.time, nullptr);
        host.runIdleTasks();
    }
}

}  // namespace tv::standalone::docread
