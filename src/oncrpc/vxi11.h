// VXI-11 core channel messages (program 0x0607AF, version 1), shared by the
// client backend and the simulated instrument.
#pragma once

#include "oncrpc.h"

namespace qv::vxi11 {

constexpr uint32_t kCoreProg = 0x0607AF;
constexpr uint32_t kAbortProg = 0x0607B0;
constexpr uint32_t kCoreVers = 1;

enum Proc : uint32_t {
    kCreateLink = 10,
    kDeviceWrite = 11,
    kDeviceRead = 12,
    kDeviceReadStb = 13,
    kDeviceTrigger = 14,
    kDeviceClear = 15,
    kDeviceRemote = 16,
    kDeviceLocal = 17,
    kDeviceLock = 18,
    kDeviceUnlock = 19,
    kDeviceEnableSrq = 20,
    kDeviceDocmd = 22,
    kDestroyLink = 23,
    kCreateIntrChan = 25,
    kDestroyIntrChan = 26,
};

// Device_Flags
constexpr uint32_t kFlagWaitLock = 0x01;
constexpr uint32_t kFlagEnd = 0x08;
constexpr uint32_t kFlagTermCharSet = 0x80;

// Device_ReadResp reason bits
constexpr uint32_t kReasonReqCnt = 0x01;
constexpr uint32_t kReasonChr = 0x02;
constexpr uint32_t kReasonEnd = 0x04;

// Device_ErrorCode
enum Error : int32_t {
    kNoError = 0,
    kSyntaxError = 1,
    kDeviceNotAccessible = 3,
    kInvalidLinkId = 4,
    kParameterError = 5,
    kChannelNotEstablished = 6,
    kOperationNotSupported = 8,
    kOutOfResources = 9,
    kDeviceLocked = 11,
    kNoLockHeld = 12,
    kIoTimeout = 15,
    kIoError = 17,
    kInvalidAddress = 21,
    kAbort = 23,
    kChannelAlreadyEstablished = 29,
};

// Longest device name and single write we accept from a peer.
constexpr size_t kMaxDeviceName = 256;
constexpr size_t kMaxWriteData = 64u << 20;

struct CreateLinkParms {
    int32_t clientId = 0;
    bool lockDevice = false;
    uint32_t lockTimeout = 0;
    std::string device;
};
struct CreateLinkResp {
    int32_t error = 0;
    int32_t lid = 0;
    uint16_t abortPort = 0;
    uint32_t maxRecvSize = 0;
};
struct WriteParms {
    int32_t lid = 0;
    uint32_t ioTimeout = 0;
    uint32_t lockTimeout = 0;
    uint32_t flags = 0;
    std::string_view data;  // points into the caller's buffer
};
struct WriteResp {
    int32_t error = 0;
    uint32_t size = 0;
};
struct ReadParms {
    int32_t lid = 0;
    uint32_t requestSize = 0;
    uint32_t ioTimeout = 0;
    uint32_t lockTimeout = 0;
    uint32_t flags = 0;
    uint8_t termChar = 0;
};
// The fixed head of Device_ReadResp; the opaque data follows on the wire.
struct ReadRespHead {
    int32_t error = 0;
    uint32_t reason = 0;
    uint32_t dataLength = 0;
};
struct GenericParms {
    int32_t lid = 0;
    uint32_t flags = 0;
    uint32_t lockTimeout = 0;
    uint32_t ioTimeout = 0;
};
struct ReadStbResp {
    int32_t error = 0;
    uint8_t stb = 0;
};
struct LockParms {
    int32_t lid = 0;
    uint32_t flags = 0;
    uint32_t lockTimeout = 0;
};

void encode(rpc::XdrWriter& w, const CreateLinkParms& p);
bool decode(rpc::XdrReader& r, CreateLinkParms& p);
void encode(rpc::XdrWriter& w, const CreateLinkResp& p);
bool decode(rpc::XdrReader& r, CreateLinkResp& p);
void encode(rpc::XdrWriter& w, const WriteParms& p);
bool decode(rpc::XdrReader& r, WriteParms& p);
void encode(rpc::XdrWriter& w, const WriteResp& p);
bool decode(rpc::XdrReader& r, WriteResp& p);
void encode(rpc::XdrWriter& w, const ReadParms& p);
bool decode(rpc::XdrReader& r, ReadParms& p);
// Encodes the head; the caller then writes dataLength bytes and xdrPad().
void encode(rpc::XdrWriter& w, const ReadRespHead& p);
bool decode(rpc::XdrReader& r, ReadRespHead& p);
void encode(rpc::XdrWriter& w, const GenericParms& p);
bool decode(rpc::XdrReader& r, GenericParms& p);
void encode(rpc::XdrWriter& w, const ReadStbResp& p);
bool decode(rpc::XdrReader& r, ReadStbResp& p);
void encode(rpc::XdrWriter& w, const LockParms& p);
bool decode(rpc::XdrReader& r, LockParms& p);
// Device_Link alone (destroy_link, device_unlock) and Device_Error alone.
void encodeLink(rpc::XdrWriter& w, int32_t lid);
void encodeError(rpc::XdrWriter& w, int32_t error);

}  // namespace qv::vxi11
