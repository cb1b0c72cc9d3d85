// Resources the built-in layer does not serve (GPIB, USB, HiSLIP, visa://,
// QVIB): a session of the vendor VISA library, to which every operation and
// attribute is handed as it came. Without a library they are not found.
#include "backend.h"
#include "status_text.h"
#include "vendor.h"

namespace qv::visa {

namespace {

class VendorBackend final : public Backend {
public:
    explicit VendorBackend(const VendorLibrary* lib) : lib_(lib) {}

    const char* name() const override { return "vendor library"; }

    ViStatus open(const OpenRequest& req, std::string& reason) override {
        std::string why;
        if (!lib_) lib_ = vendorLibrary(&why);
        if (!lib_) {
            reason = "the built-in layer does not serve " + req.resource.why + " resources; " + why;
            return VI_ERROR_RSRC_NFOUND;
        }
        ViSession vrm = 0, v = 0;
        ViStatus s = vendorManager(*lib_, req.rm, vrm);
        if (s >= 0) s = lib_->open(vrm, req.text.c_str(), req.mode, req.timeoutMs, &v);
        if (s < 0) {
            reason = std::string("the vendor VISA library answered ") + statusName(s);
            return s;
        }
        vi_ = v;
        open_ = true;
        return s;  // the vendor's warnings reach the caller
    }

    void close() override {
        if (open_) lib_->close(vi_);
        open_ = false;
    }

    ViStatus read(uint8_t* buf, uint32_t count, uint32_t& got) override {
        return lib_->read(vi_, buf, count, &got);
    }
    ViStatus bufRead(uint8_t* buf, uint32_t count, uint32_t& got) override {
        return lib_->bufRead ? lib_->bufRead(vi_, buf, count, &got) : read(buf, count, got);
    }
    ViStatus readToFile(const char* fileName, uint32_t count, uint32_t& got) override {
        return lib_->readToFile ? lib_->readToFile(vi_, fileName, count, &got) : VI_ERROR_NSUP_OPER;
    }
    ViStatus write(const uint8_t* data, uint32_t count, uint32_t& written) override {
        return lib_->write(vi_, data, count, &written);
    }
    ViStatus writeFromFile(const char* fileName, uint32_t count, uint32_t& written) override {
        return lib_->writeFromFile ? lib_->writeFromFile(vi_, fileName, count, &written) : VI_ERROR_NSUP_OPER;
    }
    ViStatus readStb(uint16_t& stb) override { return lib_->readSTB ? lib_->readSTB(vi_, &stb) : VI_ERROR_NSUP_OPER; }
    ViStatus clear() override { return lib_->clear ? lib_->clear(vi_) : VI_ERROR_NSUP_OPER; }
    ViStatus gpibControlRen(uint16_t mode) override {
        return lib_->gpibControlREN ? lib_->gpibControlREN(vi_, mode) : VI_ERROR_NSUP_OPER;
    }

    ViStatus getAttribute(ViAttr attr, void* value) override { return lib_->getAttribute(vi_, attr, value); }
    ViStatus setAttribute(ViAttr attr, ViAttrState state) override { return lib_->setAttribute(vi_, attr, state); }

private:
    const VendorLibrary* lib_;
    ViSession vi_ = 0;
    bool open_ = false;
};

[[maybe_unused]] const bool kRegistered = registerBackend(ResourceKind::Foreign, [] { return makeVendorBackend(nullptr); });

}  // namespace

std::unique_ptr<Backend> makeVendorBackend(const VendorLibrary* lib) { return std::make_unique<VendorBackend>(lib); }

}  // namespace qv::visa
