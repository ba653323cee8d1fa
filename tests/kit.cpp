#include "kit.h"

#include <cstring>

namespace kit {

namespace {
thread_local std::vector<Report> tReports;

int record(int status, const char* func, const char* context, const char*, int) {
    tReports.push_back({status, func ? func : "", context ? context : ""});
    return status;
}
}  // namespace

Recorder::Recorder() {
    tReports.clear();
    zolSetErrStatus(0);
    previous_ = zolRedirectError(record);
}
Recorder::~Recorder() { zolRedirectError(previous_); }
const std::vector<Report>& Recorder::reports() const { return tReports; }
void Recorder::clear() { tReports.clear(); }

bool Recorder::only(int status, const std::string& func, const std::string& context) const {
    return tReports.size() == 1 && tReports[0].status == status && tReports[0].func == func &&
           tReports[0].context == context && zolGetErrStatus() == status;
}

Image::Image(int depth, int nChannels, int width, int height, int order, int align, bool alpha) {
    static const char model[4] = {'T', 'E', 'S', 'T'};
    img_ = zolCreateImageHeader(nChannels, alpha ? nChannels : 0, depth, model, model, order,
                                ZOL_ORIGIN_TL, align, width, height, nullptr, nullptr, nullptr,
                                nullptr);
    if (!img_) return;
    if (depth == ZOL_DEPTH_32F) zolAllocateImageFP(img_, 1, 0.0f);
    else zolAllocateImage(img_, 1, 0);
}

Image& Image::operator=(Image&& o) noexcept {
    if (this != &o) {
        this->~Image();
        img_ = o.img_;
        o.img_ = nullptr;
    }
    return *this;
}

Image::~Image() {
    if (img_) zolDeallocate(img_, ZOL_FREE_HEADER | ZOL_FREE_DATA | ZOL_FREE_ROI | ZOL_FREE_TILE);
}

void Image::setRoi(int coi, int x, int y, int w, int h) {
    if (!img_->roi) img_->roi = zolCreateROI(coi, x, y, w, h);
    else zolSetROI(img_->roi, coi, x, y, w, h);
}

void Image::randomize(uint32_t seed) {
    std::mt19937 gen(seed);
    for (int i = 0; i < img_->imageSize; ++i) img_->imageData[i] = char(gen() & 0xFF);
}

std::vector<uint8_t> Image::bytes() const {
    const auto* p = reinterpret_cast<const uint8_t*>(img_->imageData);
    return std::vector<uint8_t>(p, p + img_->imageSize);
}

size_t offsetOf(const ZolImage* im, int x, int y, int c) {
    const size_t b = size_t((im->depth & 0x7FFFFFFF) >> 3);
    if (b == 0) return size_t(y) * size_t(im->widthStep) + size_t(x >> 3);
    if (im->dataOrder == ZOL_DATA_ORDER_PIXEL)
        return size_t(y) * size_t(im->widthStep) + (size_t(x) * size_t(im->nChannels) + size_t(c)) * b;
    return (size_t(c) * size_t(im->height) + size_t(y)) * size_t(im->widthStep) + size_t(x) * b;
}

int64_t get(const ZolImage* im, int x, int y, int c) {
    const uint8_t* p = reinterpret_cast<const uint8_t*>(im->imageData) + offsetOf(im, x, y, c);
    switch (im->depth) {
        case ZOL_DEPTH_1U: return (*p >> (7 - (x & 7))) & 1;
        case ZOL_DEPTH_8U: return *p;
        case ZOL_DEPTH_8S: return int8_t(*p);
        case ZOL_DEPTH_16U: { uint16_t v; std::memcpy(&v, p, 2); return v; }
        case ZOL_DEPTH_16S: { int16_t v; std::memcpy(&v, p, 2); return v; }
        case ZOL_DEPTH_32S: { int32_t v; std::memcpy(&v, p, 4); return v; }
        default: { uint32_t v; std::memcpy(&v, p, 4); return v; }
    }
}

void set(ZolImage* im, int x, int y, int c, int64_t v) {
    uint8_t* p = reinterpret_cast<uint8_t*>(im->imageData) + offsetOf(im, x, y, c);
    switch ((im->depth & 0x7FFFFFFF) >> 3) {
        case 0: {
            const uint8_t m = uint8_t(0x80 >> (x & 7));
            *p = uint8_t((v & 1) ? (*p | m) : (*p & ~m));
            break;
        }
        case 1: *p = uint8_t(v); break;
        case 2: { uint16_t w = uint16_t(v); std::memcpy(p, &w, 2); break; }
        default: { uint32_t w = uint32_t(v); std::memcpy(p, &w, 4); break; }
    }
}

const std::vector<int>& allDepths() {
    static const std::vector<int> d = {ZOL_DEPTH_1U,  ZOL_DEPTH_8U,  ZOL_DEPTH_8S, ZOL_DEPTH_16U,
                                       ZOL_DEPTH_16S, ZOL_DEPTH_32S, ZOL_DEPTH_32F};
    return d;
}

const char* depthName(int depth) {
    switch (depth) {
        case ZOL_DEPTH_1U: return "1u";
        case ZOL_DEPTH_8U: return "8u";
        case ZOL_DEPTH_8S: return "8s";
        case ZOL_DEPTH_16U: return "16u";
        case ZOL_DEPTH_16S: return "16s";
        case ZOL_DEPTH_32S: return "32s";
        case ZOL_DEPTH_32F: return "32f";
        default: return "?";
    }
}

}  // namespace kit
