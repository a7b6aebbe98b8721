#include "host/GroupMessage.h"

#include "host/EffectTemplate.h"

namespace tv {

bool AnswerGroupMessage(PF_InData* in, ObjectMessage& m, const GroupHooks& hooks, PF_Err& err) {
    err = PF_Err_NONE;
    switch (m.command) {
        case kObjGetGroup:
            m.setPayloadGroup(hooks.takesAllGroups
                                  ? int16_t(kAllGroups)
                                  : int16_t(CheckoutParam(in, hooks.groupPopup->index).u.popup));
            return true;
        case kObjGetTarget:
            if (hooks.effector)
                m.flags |= hooks.targetParam &&
                                   CheckoutParam(in, hooks.targetParam).u.popup == kTargetFaces
                               ? kMsgTargetsFaces
                               : kMsgTargetsVertices;
            return true;
        case kObjSetGroup:
            err = WriteGroupPopup(in, *hooks.groupPopup, m.payloadGroup());
            return true;
        case kObjMixHash:
            MixHashInto(m, hooks.hash(in, m));
            if (hooks.dependencies) hooks.dependencies(in, m);
            return true;
        default:
            return false;
    }
}

}  // namespace tv
