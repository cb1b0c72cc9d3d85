// VIF's binary transfers: definite-length blocks into files and float
// arrays, and files to the instrument. Everything passes through files, so
// memory stays flat whatever the size.
#include "app/host.h"
#include "app/standard.h"
#include "vif.h"
#include "vif_internal.h"
#include "instrument_io/visa/progress.h"
#include "app/debug.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace qv::io {

namespace {

// Raises the progress event at each whole percent while one file transfer
// of the VISA layer runs (it moves the whole file in one call).
class TransferProgressScope {
public:
    explicit TransferProgressScope(const std::function<void(float)>& event) {
        if (!event) return;
        observer_ = [&event, last = -1](uint64_t done, uint64_t total) mutable {
            if (total == 0) return;
            const int percent = int(std::min<uint64_t>(done, total) * 100 / total);
            if (percent == last) return;
            last = percent;
            event(float(percent));
        };
        visa::setTransferProgress(&observer_);
    }
    ~TransferProgressScope() {
        if (observer_) visa::setTransferProgress(nullptr);
    }
    TransferProgressScope(const TransferProgressScope&) = delete;
    TransferProgressScope& operator=(const TransferProgressScope&) = delete;

private:
    visa::TransferProgress observer_;
};

}  // namespace

using detail::roundHalfEven;

namespace {
// What a volt reading of exactly 0 becomes in dBm: far below anything an
// instrument measures, yet a number a graph can draw.
constexpr float kZeroVoltDbm = -300.0f;

float voltsToDbm(float v) {
    double p = (double(v) * v / 600.0) / 0.001;  // 600-ohm reference
    return p > 0 ? float(10.0 * std::log10(p)) : kZeroVoltDbm;
}

// Reads 4-byte singles in file order; bytes missing at the end read as 0.
class FloatFile {
public:
    explicit FloatFile(const std::string& path) : f_(std::fopen(path.c_str(), "rb")) {}
    ~FloatFile() {
        if (f_) std::fclose(f_);
    }
    bool ok() const { return f_ != nullptr; }
    void read(float* out, size_t count) {
        std::memset(out, 0, count * sizeof(float));
        if (f_) std::fread(out, 1, count * sizeof(float), f_);
    }

private:
    FILE* f_;
};

// The byte at offset of a file, or -1.
int byteAt(const std::string& path, uint64_t offset) {
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return -1;
    int c = std::fseek(f, long(offset), SEEK_SET) == 0 ? std::fgetc(f) : -1;
    std::fclose(f);
    return c;
}
}  // namespace

std::string VIF::newTempFile() {
    dropTempFile();
    TempFile = app::TempFileName("BIN_IO");
    return TempFile;
}

void VIF::dropTempFile() {
    detail::removeFile(TempFile);
    TempFile.clear();
}

ViStatus VIF::rawRead(std::string& out, long count, bool logged) {
    if (logged) return readText(out, count);
    out.assign(size_t(count < 0 ? 0 : count), '\0');
    ViUInt32 n = 0;
    ViStatus s = viRead(ViSession(Session), reinterpret_cast<ViBuf>(out.data()), ViUInt32(out.size()), &n);
    out.resize(n);
    return s;
}

// "#", the digit count and the length digits. The first character is not
// tested for "#": some instruments put another there.
VIF::BlockOutcome VIF::readFileBlockHeader(bool logged, uint64_t& length) {
    std::string head, digits;
    if (rawRead(head, 2, logged) < 0) return BlockOutcome::Failed;
    size_t n = detail::blockDigitCount(head);
    if (n == 0) return BlockOutcome::HeaderCorrupt;
    if (rawRead(digits, long(n), logged) < 0) return BlockOutcome::Failed;
    switch (detail::parseLengthField(digits, n, length)) {
    case detail::LengthField::Length: return BlockOutcome::Whole;  // so far
    case detail::LengthField::Negative: return BlockOutcome::NotFound;
    default: return BlockOutcome::HeaderCorrupt;
    }
}

// A block ends where its header says when the message ended with its last
// byte (END), or when the next byte is the terminator. A terminator that
// never comes leaves the data whole. It travels right behind the data, so
// its wait is short: the transfer's own time-out (up to minutes for a large
// file) would be spent in full on an instrument that sends none.
VIF::BlockOutcome VIF::checkBlockEnd(ViStatus s, uint64_t got, uint64_t length, bool logged) {
    if (s < 0) return BlockOutcome::ReadFailed;
    if (got < length) return BlockOutcome::Short;
    if (s == VI_SUCCESS) return BlockOutcome::Whole;
    constexpr uint32_t kTerminatorWaitMs = 1000;
    const ViStatus cause = LastVisaStatus_;
    const ViSession vi = ViSession(Session);
    uint32_t tmo = 0;
    const bool narrowed = (logged ? VIFviGetAttribute(vi, VI_ATTR_TMO_VALUE, tmo)
                                  : viGetAttribute(vi, VI_ATTR_TMO_VALUE, &tmo)) >= 0 &&
                          tmo > kTerminatorWaitMs;
    auto setTmo = [&](uint32_t ms) {
        if (logged) VIFviSetAttribute(vi, VI_ATTR_TMO_VALUE, ms);
        else viSetAttribute(vi, VI_ATTR_TMO_VALUE, ms);
    };
    if (narrowed) setTmo(kTerminatorWaitMs);
    std::string next;
    ViStatus t = rawRead(next, 1, logged);
    if (narrowed) setTmo(tmo);
    LastVisaStatus_ = cause;
    if (t >= 0 && !next.empty() && next[0] != '\n') return BlockOutcome::Longer;
    return BlockOutcome::Whole;
}

// A device clear drops what the instrument still holds of the answer (and
// what a byte-stream session has buffered of it); its own failure must not
// hide the status that caused it.
void VIF::abandonAnswer(bool logged) {
    const ViStatus cause = LastVisaStatus_;
    if (logged)
        VIFviClear(ViSession(Session));
    else
        viClear(ViSession(Session));
    LastVisaStatus_ = cause;
}

const char* VIF::blockFaultText(BlockOutcome outcome) {
    switch (outcome) {
    case BlockOutcome::NotFound: return "File not found on instrument";
    case BlockOutcome::HeaderCorrupt: return "Block header corrupt";
    case BlockOutcome::Short: return "Block shorter than announced";
    case BlockOutcome::Longer: return "Block longer than announced";
    default: return nullptr;
    }
}

void VIF::reportBlockFault(BlockOutcome outcome, const std::string& command) {
    const char* text = blockFaultText(outcome);
    if (text && VIFVIFError) VIFVIFError(text, command);
}

// The block answer of the command just sent, into targetFile. Any fault
// gives up the rest of the answer, and a header or data fault leaves no
// target that could pass for the whole file. The logged path restores the
// time-out it set; the direct one leaves it set.
VIF::BlockOutcome VIF::readBlockIntoFile(const std::string& targetFile, long timeout, bool logged) {
    const ViSession vi = ViSession(Session);
    uint64_t length = 0;
    BlockOutcome outcome = readFileBlockHeader(logged, length);
    if (outcome == BlockOutcome::Failed) return outcome;
    if (outcome != BlockOutcome::Whole) {
        abandonAnswer(logged);
        if (outcome == BlockOutcome::HeaderCorrupt) detail::removeFile(targetFile);
        return outcome;
    }
    detail::removeFile(targetFile);
    const double ms = timeout != -1 ? double(timeout) : detail::sizedTimeoutMs(length);
    ViStatus s;
    uint32_t got = 0;
    TransferProgressScope progress(VIFProgress);
    if (logged) {
        VIFAttrChange(VI_ATTR_TMO_VALUE, 0, ms);
        s = VIFviReadToFile(vi, targetFile, uint32_t(length), got);
    } else {
        viSetAttribute(vi, VI_ATTR_TMO_VALUE, ViAttrState(uint32_t(roundHalfEven(ms))));
        s = viReadToFile(vi, targetFile.c_str(), ViUInt32(length), &got);
    }
    outcome = checkBlockEnd(s, got, length, logged);
    if (outcome != BlockOutcome::Whole) abandonAnswer(logged);  // still under the transfer's time-out
    if (logged) VIFAttrChange(VI_ATTR_TMO_VALUE, 1, 0);
    if (outcome != BlockOutcome::Whole) detail::removeFile(targetFile);
    return outcome;
}

bool VIF::ReadFileFromInstrument(const std::string& command, const std::string& targetFile, long timeout) {
    app::CallGuard guard("VIF", "VIF", "ReadFileFromInstrument");
    if (!VISAFound_ || Session < 1) return false;
    bool ok = false;
    VIFAttrChange(VI_ATTR_GPIB_READDR_EN, 0, 0);
    if (sendText(command) == VI_SUCCESS) {
        BlockOutcome outcome = readBlockIntoFile(targetFile, timeout, true);
        ok = outcome == BlockOutcome::Whole;
        reportBlockFault(outcome, command);
    }
    VIFAttrChange(VI_ATTR_GPIB_READDR_EN, 1, 0);
    VIFviGpibControlREN(ViSession(Session), VI_GPIB_REN_ADDRESS_GTL);
    return ok;
}

bool VIF::RdFilFrmInstr(const std::string& command, const std::string& targetFile, long timeout) {
    app::CallGuard guard("VIF", "VIF", "RdFilFrmInstr");
    if (!VISAFound_ || Session < 1) return false;
    ViSession vi = ViSession(Session);
    std::string line = command + "\n";
    ViUInt32 n = 0;
    if (viWrite(vi, reinterpret_cast<ViConstBuf>(line.data()), ViUInt32(line.size()), &n) < 0) return false;
    BlockOutcome outcome = readBlockIntoFile(targetFile, timeout, false);
    // A header that could not be read and a negative length end without a
    // word; a failed data read says the file is not there.
    if (outcome == BlockOutcome::ReadFailed) {
        if (VIFVIFError) VIFVIFError("File not found on instrument", command);
    } else if (outcome != BlockOutcome::NotFound) {
        reportBlockFault(outcome, command);
    }
    viGpibControlREN(vi, VI_GPIB_REN_ADDRESS_GTL);
    return outcome == BlockOutcome::Whole;
}

bool VIF::ReadAnswerFromInstrument(const std::string& command, const std::string& targetFile, long byteCount) {
    app::CallGuard guard("VIF", "VIF", "ReadAnswerFromInstrument");
    if (!VISAFound_ || Session < 1) return false;
    bool ok = false;
    VIFAttrChange(VI_ATTR_GPIB_READDR_EN, 0, 0);
    // An empty command reads what is waiting.
    ViStatus sent = TrimAll(command).empty() ? VI_SUCCESS : sendText(command);
    if (sent == VI_SUCCESS) {
        detail::removeFile(targetFile);
        const uint32_t count = uint32_t(byteCount < 0 ? 0 : byteCount);
        VIFAttrChange(VI_ATTR_TMO_VALUE, 0, detail::sizedTimeoutMs(count));
        uint32_t got = 0;
        ok = VIFviReadToFile(ViSession(Session), targetFile, count, got) >= 0;
        VIFAttrChange(VI_ATTR_TMO_VALUE, 1, 0);
    }
    VIFAttrChange(VI_ATTR_GPIB_READDR_EN, 1, 0);
    return ok;
}

bool VIF::ReadStreamFromInstrumentIntoFile(const std::string& command, const std::string& targetFile,
                                           long& byteCount, long /*flag*/) {
    app::CallGuard guard("VIF", "VIF", "ReadStreamFromInstrumentIntoFile");
    if (!VISAFound_ || Session < 1) return false;
    bool ok = false;
    VIFAttrChange(VI_ATTR_GPIB_READDR_EN, 0, 0);
    if (sendText(command) == VI_SUCCESS) {
        uint32_t got = 0;
        ok = VIFviReadToFile(ViSession(Session), targetFile, uint32_t(byteCount < 0 ? 0 : byteCount), got) >= 0;
        byteCount = long(got);
    }
    VIFAttrChange(VI_ATTR_GPIB_READDR_EN, 1, 0);
    return ok;
}

// Reads "#", the digit count and the length digits. Failures raise the
// messages of a float read unless silent; whatever arrived of an answer that
// is no block is given up, so that it cannot become the next answer.
bool VIF::readBlockHeader(uint64_t& length, bool silent) {
    auto failWith = [&](const char* message, bool arrived) {
        if (arrived) abandonAnswer(true);
        if (!silent && VIFVIFError) VIFVIFError(message, LastCommand_);
        return false;
    };
    std::string head;
    ViStatus s = readText(head, 2);
    if (s < 0 || head.size() < 2) return failWith("Reading binary header FAILED", s >= 0);
    if (head[0] != '#') return failWith("Reading binary header FAILED (no # found)", true);
    size_t n = detail::blockDigitCount(head);
    if (n == 0) return failWith("Reading binary header FAILED", true);
    std::string digits;
    s = readText(digits, long(n));
    if (s < 0) return failWith("Reading binary header length FAILED", false);
    if (detail::parseLengthField(digits, n, length) != detail::LengthField::Length)
        return failWith("Reading binary header length FAILED", true);
    return true;
}

bool VIF::ReadFloatArray(const std::string& command, std::vector<float>& values, const std::string& conversion) {
    app::CallGuard guard("VIF", "VIF", "ReadFloatArray");
    if (!VISAFound_ || Session < 1) return false;
    bool result = false;
    LastCommand_ = command;
    if (sendText(command) == VI_SUCCESS) {
        uint32_t readdr = VI_TRUE;  // kept when the session cannot tell
        VIFviGetAttribute(ViSession(Session), VI_ATTR_GPIB_READDR_EN, readdr);
        VIFviSetAttribute(ViSession(Session), VI_ATTR_GPIB_READDR_EN, 0);
        result = IntReadFloatArray(values, conversion);
        VIFviSetAttribute(ViSession(Session), VI_ATTR_GPIB_READDR_EN, readdr);
    }
    if (PollAfterCommand) {
        std::string errors;
        if (PollErrors(errors, "SYST:ERR?", true) && ErrorIsFailure) result = false;
    }
    if (VIFCommandExecuted) VIFCommandExecuted(result, LastCommand_);
    return result;
}

bool VIF::IntReadFloatArray(std::vector<float>& values, const std::string& conversion) {
    uint64_t length = 0;
    if (!readBlockHeader(length, false)) return false;
    std::string file = newTempFile();
    uint32_t got = 0;
    // Ten bytes more than announced: the terminator lands in the file too.
    ViStatus s = file.empty() ? VI_ERROR_FILE_ACCESS
                              : VIFviReadToFile(ViSession(Session), file, uint32_t(length + 10), got);
    // The data must end where the header says: at END, or with the
    // terminator right after it. Anything else would shift or pad the array.
    bool whole = s >= 0 && ((got == length && s == VI_SUCCESS) || (got == length + 1 && byteAt(file, length) == '\n'));
    if (!whole) {
        dropTempFile();
        abandonAnswer(true);
        if (VIFVIFError) VIFVIFError("Reading binary data FAILED", LastCommand_);
        return false;
    }
    long count = roundHalfEven(double(length) / 4.0);
    values.assign(size_t(count > 0 ? count : 0), 0.0f);
    FloatFile in(file);
    in.read(values.data(), values.size());
    std::string conv = conversion;
    for (auto& c : conv) c = char(std::toupper(static_cast<unsigned char>(c)));
    if (conv == "V2DBM")
        for (auto& v : values) v = voltsToDbm(v);
    dropTempFile();
    if (VIFInformation) VIFInformation(std::to_string(count) + " float values transfered");
    return true;
}

bool VIF::ReadIQArray(const std::string& command, std::vector<float>& iValues, std::vector<float>& qValues,
                      long stretch, long chunk, long sampleCount) {
    app::CallGuard guard("VIF", "VIF", "ReadIQArray");
    if (!VISAFound_ || Session < 1) return false;
    bool result = false;
    LastCommand_ = command;
    if (sendText(command) >= 0) {
        uint32_t readdr = VI_TRUE, tmo = uint32_t(TimeOut_);  // kept when the session cannot tell
        VIFviGetAttribute(ViSession(Session), VI_ATTR_GPIB_READDR_EN, readdr);
        VIFviSetAttribute(ViSession(Session), VI_ATTR_GPIB_READDR_EN, 0);
        if (sampleCount != -1) {
            VIFviGetAttribute(ViSession(Session), VI_ATTR_TMO_VALUE, tmo);
            double ms = double(sampleCount) * 4.0 / double(AssumedRate > 0 ? AssumedRate : 1) * 1000.0;
            VIFviSetAttribute(ViSession(Session), VI_ATTR_TMO_VALUE, uint32_t(roundHalfEven(ms)));
        }
        result = IntReadIQArray(iValues, qValues, stretch, chunk);
        if (sampleCount != -1) VIFviSetAttribute(ViSession(Session), VI_ATTR_TMO_VALUE, tmo);
        VIFviSetAttribute(ViSession(Session), VI_ATTR_GPIB_READDR_EN, readdr);
    }
    if (PollAfterCommand) {
        std::string errors;
        if (PollErrors(errors, "SYST:ERR?", true) && ErrorIsFailure) result = false;
    }
    if (VIFCommandExecuted) VIFCommandExecuted(result, LastCommand_);
    return result;
}

bool VIF::IntReadIQArray(std::vector<float>& iValues, std::vector<float>& qValues, long stretch, long chunk) {
    uint64_t length = 0;
    if (!readBlockHeader(length, true)) return false;
    std::string file = stretch > 0 && chunk > 0 ? newTempFile() : std::string();  // else no progress possible
    uint32_t got = 0;
    ViStatus s = file.empty() ? VI_ERROR_FILE_ACCESS : VIFviReadToFile(ViSession(Session), file, uint32_t(length), got);
    if (file.empty() || checkBlockEnd(s, got, length, true) != BlockOutcome::Whole) {
        dropTempFile();
        abandonAnswer(true);
        return false;
    }
    long samples = roundHalfEven(double(length) / 8.0);
    if (samples < 0) samples = 0;
    iValues.assign(size_t(samples), 0.0f);
    qValues.assign(size_t(samples), 0.0f);
    if (chunk > stretch) chunk = stretch;
    FloatFile in(file);
    long iRead = 0, qRead = 0;
    while (iRead < samples || qRead < samples) {
        for (int pass = 0; pass < 2; ++pass) {
            bool isI = pass == 0;
            long& done = isI ? iRead : qRead;
            std::vector<float>& target = isI ? iValues : qValues;
            long left = std::min(stretch, samples - done);
            while (left > 0) {
                long piece = std::min(chunk, left);
                in.read(target.data() + done, size_t(piece));
                done += piece;
                left -= piece;
                if (VIFProgress) VIFProgress(float(double(iRead + qRead) / double(samples) * 50.0));
            }
        }
    }
    WriteString("*CLS", 0);
    dropTempFile();
    if (VIFInformation) VIFInformation(std::to_string(samples) + " IQ pairs transfered");
    return true;
}

// The block goes out as one message: prefix and header, the file's bytes,
// then the suffix with the LF that ends the message (and END with it). No
// LF may stand between header and data, or the instrument would see the
// message end before its block.
bool VIF::WriteFileToInstrument(const std::string& prefix, const std::string& sourceFile, const std::string& suffix) {
    app::CallGuard guard("VIF", "VIF", "WriteFileToInstrument");
    if (Session <= 0) return false;
    std::string name = std::filesystem::path(sourceFile).filename().string();
    if (!detail::fileExists(sourceFile)) {
        if (VIFVIFError)
            VIFVIFError("File " + name + " not found on local harddisc", prefix + "'" + name + "'" + suffix);
        return false;
    }
    long length = detail::fileSize(sourceFile);
    std::string size = std::to_string(length);
    std::string header = "#" + std::to_string(size.size()) + size;
    VIFAttrChange(VI_ATTR_GPIB_READDR_EN, 0, 0);
    VIFAttrChange(VI_ATTR_TMO_VALUE, 0, std::max(length / 100.0, 100.0));
    VIFAttrChange(VI_ATTR_SEND_END_EN, 0, 0);
    sendText(prefix + header, false);
    uint32_t written = 0;
    if (length > 0) {
        TransferProgressScope progress(VIFProgress);
        VIFviWriteFromFile(ViSession(Session), sourceFile, uint32_t(length), written);
    }
    VIFAttrChange(VI_ATTR_SEND_END_EN, 1, 0);
    sendText(suffix);
    VIFAttrChange(VI_ATTR_GPIB_READDR_EN, 1, 0);
    VIFAttrChange(VI_ATTR_TMO_VALUE, 1, 0);
    return true;
}

bool VIF::WriteByteArrayHeader(const std::string& text) { return sendBlockPart("WriteByteArrayHeader", text, false); }

bool VIF::WriteByteArrayEnd(const std::string& text) { return sendBlockPart("WriteByteArrayEnd", text, true); }

// The header goes out with END off, so the data follows in the same message;
// the end switches END on again.
bool VIF::sendBlockPart(const char* routine, const std::string& text, bool end) {
    app::CallGuard guard("VIF", "VIF", routine);
    if (!VISAFound_ || Session < 1) return false;
    VIFAttrChange(VI_ATTR_SEND_END_EN, end ? 1 : 0, 0);
    blockOpen_ = !end;
    sendText(text);
    return true;
}

bool VIF::WriteByteArray(const std::string& header, const std::vector<uint8_t>& data, long chunk,
                         const std::string& trailer) {
    app::CallGuard guard("VIF", "VIF", "WriteByteArray");
    WriteByteArrayHeader(header);
    WriteByteBlock(data, chunk);
    WriteByteArrayEnd(trailer);
    return true;
}

bool VIF::WriteByteBlock(const std::vector<uint8_t>& data, long chunk) {
    app::CallGuard guard("VIF", "VIF", "WriteByteBlock");
    if (!VISAFound_ || Session < 1) return false;
    if (chunk <= 0) return false;
    std::string file = newTempFile();
    if (file.empty()) return false;
    const size_t total = data.size();
    size_t chunksDone = 0;
    auto sendPiece = [&](const uint8_t* p, size_t n) {
        FILE* f = std::fopen(file.c_str(), "wb");
        if (!f) return false;
        bool ok = std::fwrite(p, 1, n, f) == n;
        ok = (std::fclose(f) == 0) && ok;
        uint32_t written = 0;
        if (ok) VIFviWriteFromFile(ViSession(Session), file, uint32_t(n), written);
        detail::removeFile(file);
        return ok;
    };
    for (size_t pos = 0; pos < total; pos += size_t(chunk)) {
        size_t n = std::min(size_t(chunk), total - pos);
        if (!sendPiece(data.data() + pos, n)) break;
        if (n == size_t(chunk)) {
            ++chunksDone;
            if (total > size_t(chunk) && VIFProgress)
                VIFProgress(float(double(chunksDone) * 100.0 * double(chunk) / double(total)));
        }
    }
    dropTempFile();
    return true;
}

}  // namespace qv::io
