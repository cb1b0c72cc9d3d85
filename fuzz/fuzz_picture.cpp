// Pictures come from instruments and any of them may be damaged: whatever
// the bytes, decoding ends with an image within the limits or with a reason,
// never a crash, a hang or a huge allocation.
#include "ui/picture_files.h"

#include <QGuiApplication>
#include <QImage>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

void check(bool ok) {
    if (!ok) __builtin_trap();
}

}  // namespace

// The system's font library, loaded by the toolkit, keeps its configuration
// to the end of the process (as in the sanitizer build's suppressions).
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig.so\n"; }

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // Fonts and the SVG renderer need the application object.
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    static int argc = 1;
    static char name[] = "fuzz_picture";
    static char* argv[] = {name, nullptr};
    static QGuiApplication* app = new QGuiApplication(argc, argv);
    (void)app;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > (1u << 20)) return 0;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    QImage image;
    std::string why;
    const bool ok = qv::ui::decodePicture(bytes, image, why);
    if (ok) {
        check(!image.isNull());
        check(image.width() <= qv::ui::kPictureMaxSide && image.height() <= qv::ui::kPictureMaxSide);
        check(int64_t{image.width()} * image.height() <= qv::ui::kPictureMaxPixels);
    } else {
        check(!why.empty());
        check(image.isNull());
    }
    return 0;
}
