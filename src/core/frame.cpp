// The shared steps of the element-wise front ends.
#include "core/frame.h"

namespace zol {

namespace {
struct Count {
    int n;
    int first;
    bool alpha;
    bool coi;
};

Count channelsOf(const ZolImage* image) {
    Count c;
    c.alpha = image->alphaChannel != 0;
    c.coi = image->roi && image->roi->coi > 0;
    c.n = c.coi ? 1 : image->nChannels - (c.alpha ? 1 : 0);
    c.first = c.coi ? image->roi->coi - 1 : 0;
    return c;
}
}  // namespace

bool Frame::headersOk(std::initializer_list<const ZolImage*> images, int line) const {
    for (const ZolImage* image : images) {
        if (zolCheckImageHeader(image) != 0) {
            fail(zolGetErrStatus(), msg::kIncorrectImage, line);
            return false;
        }
    }
    return true;
}

bool Frame::depthsMatch(std::initializer_list<Named> sources, const ZolImage* dst,
                        int line) const {
    for (const Named& s : sources) {
        if (s.image->depth != dst->depth) {
            fail(ZOL_STATUS_BAD_ARGUMENT, s.context, line);
            return false;
        }
    }
    return true;
}

bool Frame::ordersMatch(std::initializer_list<Named> sources, const ZolImage* dst,
                        int line) const {
    for (const Named& s : sources) {
        if (s.image->dataOrder != dst->dataOrder) {
            fail(ZOL_STATUS_BAD_ARGUMENT, s.context, line);
            return false;
        }
    }
    return true;
}

bool Frame::makePlan(Plan& plan, std::initializer_list<Named> sources, const ZolImage* dst,
                     int line) const {
    const Count d = channelsOf(dst);
    plan.nCh = -1;
    plan.noCoi = !d.coi;
    plan.hasAlpha = d.alpha;
    int k = 0;
    for (const Named& s : sources) {
        const Count c = channelsOf(s.image);
        if (c.n != d.n) {
            fail(ZOL_STATUS_BAD_ARGUMENT, s.context, line);
            return false;
        }
        if (plan.nCh < 0) plan.nCh = c.n;
        plan.first[k++] = c.first;
        plan.noCoi = plan.noCoi && !c.coi;
        plan.hasAlpha = plan.hasAlpha || c.alpha;
    }
    plan.first[k] = d.first;
    return true;
}

MaskHold::~MaskHold() {
    if (made_) zolDeallocate(made_, ZOL_FREE_HEADER | ZOL_FREE_DATA);
}

bool MaskHold::combine(const Frame& f, const ZolImage* a, const ZolImage* b, const ZolImage* c,
                       int line) {
    int state = kMaskNone;
    ZolImage* m = ownCombineMasks(a, b, c, &state);
    if (state == kMaskEmpty) return false;
    if (state == kMaskNoMemory) {
        f.fail(ZOL_STATUS_NO_MEMORY, msg::kOutOfMemory, line);
        return false;
    }
    if (state == kMaskMade) made_ = m;
    mask_ = m;
    return true;
}

}  // namespace zol
