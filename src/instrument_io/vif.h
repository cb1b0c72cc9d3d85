// VIF: the one door between the program and an instrument. One object holds
// one resource-manager session and one instrument session for the length of
// one user action; every SCPI command and every transfer passes through it.
#pragma once

#include "instrument_io/visa/visa.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace qv::io {

// Whether a VISA layer is available. The built-in one always is; the switch
// exists so that the program's "no VISA" path can be reached and tested
// (QUILVANE_NO_VISA=1 at start, or setVisaAvailable(false)).
bool visaAvailable();
void setVisaAvailable(bool available);

class VIF {
public:
    // An open session is closed this long after its object is released.
    static constexpr int kCloseWaitMs = 100;
    VIF();
    ~VIF();
    VIF(const VIF&) = delete;
    VIF& operator=(const VIF&) = delete;

    // Events; a window that holds the object subscribes by assigning.
    std::function<void(const std::string& command, const std::string& error)> VIFSCPIError;
    std::function<void(bool success, const std::string& command)> VIFCommandExecuted;
    std::function<void(const std::string& message, const std::string& command)> VIFVIFError;
    std::function<void(const std::string& message)> VIFInformation;
    std::function<void(float percent)> VIFProgress;

    ViSession GetHandle() const { return ViSession(Session); }
    ViStatus SetVISAAttribute(ViAttr attribute, uint32_t value);
    bool OpenDevice(const std::string& resource, bool pollErrors, bool reset, uint32_t openTimeout,
                    bool checkStatus);

    bool WriteByteArrayHeader(const std::string& text);
    bool WriteByteArrayEnd(const std::string& text);
    bool WriteByteArray(const std::string& header, const std::vector<uint8_t>& data, long chunk,
                        const std::string& trailer);
    bool WriteFileToInstrument(const std::string& prefix, const std::string& sourceFile, const std::string& suffix);
    bool ReadAnswerFromInstrument(const std::string& command, const std::string& targetFile, long byteCount);
    bool ReadFileFromInstrument(const std::string& command, const std::string& targetFile, long timeout = -1);
    bool RdFilFrmInstr(const std::string& command, const std::string& targetFile, long timeout);
    bool ReadStreamFromInstrumentIntoFile(const std::string& command, const std::string& targetFile,
                                          long& byteCount, long flag);
    bool ReadFloatArray(const std::string& command, std::vector<float>& values, const std::string& conversion);
    bool ReadIQArray(const std::string& command, std::vector<float>& iValues, std::vector<float>& qValues,
                     long stretch, long chunk, long sampleCount);
    bool ReadString(const std::string& command, std::string& answer, long bufferSize = 2048, bool report = true);
    bool ReadStringLong(const std::string& command, std::string& answer, long chunkSize);
    bool ReadFloat(const std::string& command, double& value);
    bool WriteString(const std::string& command, int mode = 0);
    bool PollErrors(std::string& errors, const std::string& query = "SYST:ERR?", bool report = true);
    void SetRENState(uint16_t mode);
    void PrepareSRQ();
    void WaitSRQ();
    void ClearDevice();
    bool VISAFound() const { return VISAFound_; }
    bool InstOpen() const { return Session >= 1; }
    bool CloseIfError() const { return CloseIfError_; }
    void CloseIfError(bool value) { CloseIfError_ = value; }
    int32_t TimeOut() const { return TimeOut_; }
    void TimeOut(int32_t value);
    void ConfigErrorProcessor(bool pollAfterCommand, bool errorIsFailure);
    void ConfigDebugMode(int level, bool timeStamp, const std::string& filePath, int dumpLimit);
    bool WriteByteBlock(const std::vector<uint8_t>& data, long chunk);

    const std::string& LastError() const { return LastError_; }
    const std::string& LastErrorCommand() const { return LastErrorCommand_; }
    const std::string& LastCommand() const { return LastCommand_; }
    // The last failing VISA status any call of this object met (0: none),
    // for tools that tell the user what went wrong.
    ViStatus LastVisaStatus() const { return LastVisaStatus_; }
    // Forgets it, so that a caller can tell whether the next call failed.
    void ClearLastVisaStatus() { LastVisaStatus_ = VI_SUCCESS; }
    int32_t AssumedRate = 20000;

    // The log's texts, shared with the tests and the command-line tool.
    static std::string DecodeVISAError(ViStatus status);
    static char DebugbPrintable(unsigned char c, char replacement = '.');
    static std::string TrimAll(const std::string& text);

private:
    enum AttrSlot { kSlotTimeout, kSlotReaddr, kSlotUnaddr, kSlotSendEnd };
    void VIFAttrChange(ViAttr attribute, int mode, double value);
    bool IntReadFloatArray(std::vector<float>& values, const std::string& conversion);
    bool IntReadIQArray(std::vector<float>& iValues, std::vector<float>& qValues, long stretch, long chunk);
    // Writes a command; the text sent is the command and one LF. With
    // withLf false (a block's pieces), or while a block write is open,
    // nothing is appended.
    ViStatus sendText(const std::string& text, bool withLf = true);
    ViStatus readText(std::string& out, long count);
    bool readBlockHeader(uint64_t& length, bool silent);

    // How a block answer read into a file went. Failed: the header could not
    // be read; ReadFailed: the data read failed (both have their VISA status).
    enum class BlockOutcome { Whole, NotFound, HeaderCorrupt, Short, Longer, Failed, ReadFailed };
    // logged: through the wrappers and their log; else the direct VISA calls.
    ViStatus rawRead(std::string& out, long count, bool logged);
    BlockOutcome readFileBlockHeader(bool logged, uint64_t& length);
    // After a data read of length bytes (status s, got arrived): whether the
    // answer ends there. Reads the terminator that should follow.
    BlockOutcome checkBlockEnd(ViStatus s, uint64_t got, uint64_t length, bool logged);
    BlockOutcome readBlockIntoFile(const std::string& targetFile, long timeout, bool logged);
    // Gives up the rest of an answer that cannot be trusted, so that it
    // cannot spoil the next command.
    void abandonAnswer(bool logged);
    // The words for a block that is no file; nullptr where the VISA status
    // speaks for itself or nothing went wrong.
    static const char* blockFaultText(BlockOutcome outcome);
    void reportBlockFault(BlockOutcome outcome, const std::string& command);
    std::string newTempFile();
    void dropTempFile();
    void StoreDebug(const std::string& text);
    void StoreDebugb(const uint8_t* buffer, long count, long length);

    // The wrappers of every VISA call, each writing its log lines.
    ViStatus VIFviOpenDefaultRM(ViSession& rm);
    ViStatus VIFviOpen(ViSession rm, const std::string& resource, uint32_t mode, uint32_t timeout, ViSession& vi);
    ViStatus VIFviReadSTB(ViSession vi, ViUInt16& stb);
    ViStatus VIFviWrite(ViSession vi, const std::string& buffer, uint32_t count, uint32_t& written,
                        bool withLf = true);
    ViStatus VIFviWriteFromFile(ViSession vi, const std::string& file, uint32_t count, uint32_t& written);
    ViStatus VIFviReadToFile(ViSession vi, const std::string& file, uint32_t count, uint32_t& read);
    ViStatus VIFviRead(ViSession vi, std::string& buffer, uint32_t count, uint32_t& read);
    ViStatus VIFviBufRead(ViSession vi, std::string& buffer, uint32_t count, uint32_t& read);
    ViStatus VIFviGetAttribute(ViSession vi, ViAttr attribute, uint32_t& value);
    ViStatus VIFviSetAttribute(ViSession vi, ViAttr attribute, uint32_t value);
    ViStatus VIFviClear(ViSession vi);
    ViStatus VIFviGpibControlREN(ViSession vi, uint16_t mode);
    ViStatus VIFviClose(ViSession vi);
    void logResult(const std::string& resultLine, ViStatus status);
    bool sendBlockPart(const char* routine, const std::string& text, bool end);
    using FileCall = ViStatus (*)(ViSession, ViConstString, ViUInt32, ViPUInt32);
    ViStatus loggedFileCall(const char* name, FileCall call, ViSession vi, const std::string& file, uint32_t count,
                            uint32_t& moved);
    ViStatus loggedRead(const char* name, bool buffered, ViSession vi, std::string& buffer, uint32_t count,
                        uint32_t& read);

    bool VISAFound_ = false;
    int32_t ResourceManager = -1;
    int32_t Session = -1;
    int32_t TimeOut_ = 5000;
    bool PollAfterCommand = false;
    bool ErrorIsFailure = false;
    bool CloseIfError_ = false;
    std::string LastError_;
    std::string LastErrorCommand_;
    std::string LastCommand_;
    int DebugLevel = 0;
    std::string DebugFile;
    bool DebugTimeStamp = false;
    int DebugDumpLimit = 0;
    uint32_t SavedAttr[4] = {0, 0, 0, 0};
    std::string TempFile;
    ViStatus LastVisaStatus_ = VI_SUCCESS;
    // True from WriteByteArrayHeader to WriteByteArrayEnd: the pieces of the
    // block go out as they are, without the LF of a command. Kept by the
    // block write itself, never derived from an attribute read that a
    // session may refuse.
    bool blockOpen_ = false;
};

// Why a session did not open, for messages: no VISA layer, the status's name
// and text ("VI_ERROR_RSRC_NFOUND (...)"), or that it simply did not open.
std::string OpenFailureReason(const VIF& v);
// "The instrument <resource> could not be opened: <status text>." (the
// status part only when the layer gave one).
std::string OpenFailureText(const std::string& resource, const VIF& v);

}  // namespace qv::io
