// The metafile library's pixel device draws straight into a true-colour
// image: records land on exact pixels as the instrument drew them, embedded
// bitmaps are copied in, and text is drawn with the URW base fonts through
// FreeType. The library gets its own allocator with a budget and a status
// hook with a deadline, and never its own error output.
#include "ui/metafile_wmf.h"

#include <libwmf/api.h>
#include <libwmf/gd.h>
// The pixel device's image type (needs the folder on the include path).
#include <libwmf/gd/gd.h>

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>

namespace qv::ui {

namespace {

// Where the library looks for its fonts (built into it); text fails to
// draw without them.
constexpr const char* kFontDir = "/usr/share/fonts/type1/urw-base35";

struct Budget {
    size_t limit = 0;
    size_t used = 0;
    std::chrono::steady_clock::time_point deadline;
    bool outOfMemory = false;
    bool outOfTime = false;
};

// Each block carries its size in front, so realloc and free can count.
constexpr size_t kHead = alignof(std::max_align_t);

void* budgetMalloc(void* context, size_t size) {
    auto* b = static_cast<Budget*>(context);
    if (size > b->limit || b->used > b->limit - size) {
        b->outOfMemory = true;
        return nullptr;
    }
    auto* p = static_cast<unsigned char*>(std::malloc(size + kHead));
    if (!p) {
        b->outOfMemory = true;
        return nullptr;
    }
    std::memcpy(p, &size, sizeof size);
    b->used += size;
    return p + kHead;
}

void budgetFree(void* context, void* mem) {
    if (!mem) return;
    auto* b = static_cast<Budget*>(context);
    auto* p = static_cast<unsigned char*>(mem) - kHead;
    size_t size = 0;
    std::memcpy(&size, p, sizeof size);
    b->used -= std::min(size, b->used);
    std::free(p);
}

void* budgetRealloc(void* context, void* mem, size_t size) {
    if (!mem) return budgetMalloc(context, size);
    auto* b = static_cast<Budget*>(context);
    auto* p = static_cast<unsigned char*>(mem) - kHead;
    size_t old = 0;
    std::memcpy(&old, p, sizeof old);
    size_t others = b->used - std::min(old, b->used);
    if (size > b->limit || others > b->limit - size) {
        b->outOfMemory = true;
        return nullptr;
    }
    auto* q = static_cast<unsigned char*>(std::realloc(p, size + kHead));
    if (!q) {
        b->outOfMemory = true;
        return nullptr;
    }
    std::memcpy(q, &size, sizeof size);
    b->used = others + size;
    return q + kHead;
}

int statusHook(void* context, float) {
    auto* b = static_cast<Budget*>(context);
    if (std::chrono::steady_clock::now() < b->deadline) return 0;
    b->outOfTime = true;
    return 1;
}

const char* errorText(wmf_error_t e) {
    switch (e) {
        case wmf_E_InsMem: return "it needs more memory than a picture may take";
        case wmf_E_BadFile: return "it cannot be read";
        case wmf_E_BadFormat: return "it is corrupt";
        case wmf_E_EOF: return "it ends early";
        case wmf_E_DeviceError: return "it could not be drawn";
        case wmf_E_UserExit: return "it takes too long to draw";
        default: return "it could not be played";
    }
}

bool fontsPresent() {
    struct stat st{};
    return ::stat(kFontDir, &st) == 0 && S_ISDIR(st.st_mode);
}

// The pixel device leaves its image to the caller but exports no way to
// free it. Its layout is the library's installed header; this frees what the
// library's own destroy routine frees, with the same allocator (malloc).
void releaseImage(void* image) {
    auto* im = static_cast<gdImage*>(image);
    if (!im) return;
    if (im->pixels) {
        for (int i = 0; i < im->sy; ++i) std::free(im->pixels[i]);
        std::free(im->pixels);
    }
    if (im->tpixels) {
        std::free(im->_tpixels);
        std::free(im->tpixels);
    }
    std::free(im->polyInts);
    std::free(im->style);
    if (im->clip) {
        std::free(im->clip->list);
        std::free(im->clip);
    }
    std::free(im);
}

// The API and the image, released whatever way the render ends.
struct Api {
    wmfAPI* api = nullptr;
    bool open = false;
    ~Api() {
        if (!api) return;
        void* image = WMF_GD_GetData(api)->gd_image;
        if (open) wmf_mem_close(api);
        wmf_api_destroy(api);
        releaseImage(image);
    }
};

}  // namespace

bool renderWmf(const uint8_t* data, size_t size, const WmfLimits& limits, const WmfCanvas& canvas,
               std::string& why) {
    if (!data || size < 18 || size > static_cast<size_t>(0x7FFFFFFF)) {
        why = "WMF: the file is too short or too long";
        return false;
    }
    Budget budget;
    budget.limit = limits.memoryBudget;
    budget.deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(limits.timeBudgetMs);

    wmfAPI_Options options{};
    options.context = &budget;
    options.malloc = budgetMalloc;
    options.realloc = budgetRealloc;
    options.free = budgetFree;
    options.function = wmf_gd_function;
    const unsigned long flags = WMF_OPT_ALLOC | WMF_OPT_FUNCTION | WMF_OPT_IGNORE_NONFATAL | WMF_OPT_NO_ERROR |
                                WMF_OPT_NO_DEBUG;
    Api h;
    wmf_error_t err = wmf_api_create(&h.api, flags, &options);
    if (err != wmf_E_None || !h.api) {
        why = fontsPresent() ? "WMF: the metafile library could not start"
                             : std::string("WMF: the metafile library found no fonts (") + kFontDir + ")";
        return false;
    }
    wmf_status_function(h.api, &budget, statusHook);
    wmf_gd_t* device = WMF_GD_GetData(h.api);
    device->type = wmf_gd_image;

    // The library reads the buffer only.
    err = wmf_mem_open(h.api, const_cast<unsigned char*>(data), static_cast<long>(size));
    if (err != wmf_E_None) {
        why = std::string("WMF: ") + errorText(err);
        return false;
    }
    h.open = true;

    wmfD_Rect bbox{};
    err = wmf_scan(h.api, 0, &bbox);
    if (err != wmf_E_None) {
        why = std::string("WMF: ") + errorText(err);
        if (!fontsPresent()) why += std::string(" (no fonts in ") + kFontDir + ")";
        return false;
    }

    // Placeable files say how many units make an inch (shown at 96 dpi);
    // others are taken one unit a pixel, as an instrument's screen is drawn.
    float units = 0, unitsDown = 0;
    err = wmf_size(h.api, &units, &unitsDown);
    double width = std::fabs(units), height = std::fabs(unitsDown);
    if (h.api->File && h.api->File->placeable && h.api->PlaceableMetaHeader.Inch > 0) {
        width = width * 96.0 / h.api->PlaceableMetaHeader.Inch;
        height = height * 96.0 / h.api->PlaceableMetaHeader.Inch;
    }
    if (err != wmf_E_None || !std::isfinite(width) || !std::isfinite(height) || width < 1 || height < 1) {
        why = "WMF: the picture has no size";
        return false;
    }
    // A vector picture too large for the limits is drawn smaller, not refused.
    double scale = std::min({1.0, limits.maxSide / width, limits.maxSide / height,
                             std::sqrt(static_cast<double>(limits.maxPixels) / (width * height))});
    int w = std::max(1, static_cast<int>(width * scale));
    int hgt = std::max(1, static_cast<int>(height * scale));

    device->bbox = bbox;
    device->width = static_cast<unsigned>(w);
    device->height = static_cast<unsigned>(hgt);
    err = wmf_play(h.api, 0, &bbox);
    if (err != wmf_E_None) {
        why = std::string("WMF: ") + errorText(budget.outOfTime ? wmf_E_UserExit : err);
        return false;
    }
    const int* pixels = device->gd_image ? wmf_gd_image_pixels(device->gd_image) : nullptr;
    if (!pixels) {
        why = "WMF: nothing was drawn";
        return false;
    }
    int stride = 0;
    uint32_t* out = canvas(w, hgt, stride);
    if (!out || stride < w) {
        why = "WMF: no memory for the picture";
        return false;
    }
    // The device's pixels are 0x7F alpha (0 opaque), then red, green, blue;
    // the background it starts from is white.
    for (int y = 0; y < hgt; ++y) {
        const int* src = pixels + static_cast<size_t>(y) * static_cast<size_t>(w);
        uint32_t* dst = out + static_cast<size_t>(y) * static_cast<size_t>(stride);
        for (int x = 0; x < w; ++x) dst[x] = 0xFF000000u | (static_cast<uint32_t>(src[x]) & 0x00FFFFFFu);
    }
    return true;
}

}  // namespace qv::ui
