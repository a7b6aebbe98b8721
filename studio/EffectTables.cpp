#include "studio/EffectTables.h"

#include "resources/EffectTable.h"
#include "standalone/DocumentText.h"
#include "standalone/DocumentWriter.h"
#include "standalone/ParamText.h"

namespace tv::studio {

namespace {

const char* DataKind(const ParamSpec& spec) {
    if (spec.type != PF_Param_ARBITRARY_DATA) return "";
    if (standalone::IsCurveParam(spec)) return "curve";
    if (standalone::IsGradientParam(spec)) return "gradient";
    if (standalone::IsTextParam(spec)) return "text";
    return "data";
}

}  // namespace

bool Animatable(const ParamSpec& spec) {
    switch (spec.type) {
        case PF_Param_GROUP_START:
        case PF_Param_GROUP_END:
        case PF_Param_BUTTON:
        case PF_Param_ARBITRARY_DATA:
            return false;
        default:
            return spec.index > 0 && !(spec.flags & PF_ParamFlag_CANNOT_TIME_VARY);
    }
}

Json ParamRowJson(standalone::EmbeddedHost& host, const ParamSpec& spec,
                  const standalone::Comp& comp) {
    Json row;
    row["index"] = spec.index;
    row["name"] = spec.name;
    row["kind"] = standalone::ParamKindName(spec.type);
    if (spec.type != PF_Param_GROUP_START && spec.type != PF_Param_GROUP_END &&
        spec.type != PF_Param_BUTTON) {
        PF_ParamDef def = DefaultParamValue(spec);
        def.param_type = spec.type;
        row["default"] = standalone::ParamUserValue(host, spec, def, comp);
    }
    switch (spec.type) {
        case PF_Param_FLOAT_SLIDER:
        case PF_Param_SLIDER:
        case PF_Param_FIX_SLIDER:
            row["validMin"] = spec.validMin;
            row["validMax"] = spec.validMax;
            row["sliderMin"] = spec.sliderMin;
            row["sliderMax"] = spec.sliderMax;
            row["precision"] = spec.type == PF_Param_SLIDER ? 0 : spec.precision;
            break;
        case PF_Param_POPUP: {
            Json entries = Json::array();
            for (int32_t i = 1; i <= PopupEntryCount(spec); ++i)
                entries.push_back(std::string(PopupEntry(spec, i)));
            row["entries"] = entries;
            break;
        }
        case PF_Param_CHECKBOX:
        case PF_Param_BUTTON:
            row["label"] = spec.text;
            break;
        case PF_Param_ARBITRARY_DATA:
            row["data"] = DataKind(spec);
            if (standalone::IsTextParam(spec) && *spec.text) row["dialog"] = spec.text;
            break;
        default:
            break;
    }
    if (spec.unit != ParamUnit::None) row["unit"] = ParamUnitName(spec.unit);
    if (*spec.doc) row["description"] = spec.doc;  // the control's tooltip
    row["animatable"] = Animatable(spec);
    row["supervised"] = bool(spec.flags & PF_ParamFlag_SUPERVISE);
    if (spec.type == PF_Param_GROUP_START)
        row["collapsed"] = bool(spec.flags & PF_ParamFlag_START_COLLAPSED);
    return row;
}

EffectTables::EffectTables() : host_(std::make_unique<standalone::EmbeddedHost>()) {
    auto& comp = host_->addComp("tables", 16, 16);
    auto& layer = host_->addLayer(comp, "probe", standalone::LayerKind::Solid);
    json_ = Json::array();
    for (const EffectInfo& info : EffectTable()) {
        host_->applyEffectInstance(layer, std::string(info.matchName), true);
        const auto* installed = host_->findInstalledByMatchName(std::string(info.matchName));
        Json params = Json::array();
        for (const ParamSpec& spec : installed->params)
            if (spec.index > 0) params.push_back(ParamRowJson(*host_, spec, comp));
        json_.push_back({{"name", installed->displayName},
                         {"matchName", installed->matchName},
                         {"role", std::string(RoleName(info.role))},
                         {"built", info.built},
                         {"optionsButton", installed->optionsButtonName.empty()
                                               ? Json(nullptr)
                                               : Json(installed->optionsButtonName)},
                         {"importsObj", standalone::OpensImportObjDialog(*installed)},
                         {"params", params}});
    }
}

const standalone::InstalledEffect* EffectTables::find(const std::string& name) const {
    if (const auto* fx = host_->findInstalledByDisplayName(name)) return fx;
    return host_->findInstalledByMatchName(name);
}

}  // namespace tv::studio
