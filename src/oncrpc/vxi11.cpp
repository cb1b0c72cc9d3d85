#include "vxi11.h"

namespace qv::vxi11 {

void encode(rpc::XdrWriter& w, const CreateLinkParms& p) {
    w.i32(p.clientId);
    w.boolean(p.lockDevice);
    w.u32(p.lockTimeout);
    w.string(p.device);
}
bool decode(rpc::XdrReader& r, CreateLinkParms& p) {
    p.clientId = r.i32();
    p.lockDevice = r.boolean();
    p.lockTimeout = r.u32();
    p.device = r.string(kMaxDeviceName);
    return r.ok();
}
void encode(rpc::XdrWriter& w, const CreateLinkResp& p) {
    w.i32(p.error);
    w.i32(p.lid);
    w.u32(p.abortPort);
    w.u32(p.maxRecvSize);
}
bool decode(rpc::XdrReader& r, CreateLinkResp& p) {
    p.error = r.i32();
    p.lid = r.i32();
    p.abortPort = static_cast<uint16_t>(r.u32());
    p.maxRecvSize = r.u32();
    return r.ok();
}
void encode(rpc::XdrWriter& w, const WriteParms& p) {
    w.i32(p.lid);
    w.u32(p.ioTimeout);
    w.u32(p.lockTimeout);
    w.u32(p.flags);
    w.opaque(p.data.data(), p.data.size());
}
bool decode(rpc::XdrReader& r, WriteParms& p) {
    p.lid = r.i32();
    p.ioTimeout = r.u32();
    p.lockTimeout = r.u32();
    p.flags = r.u32();
    p.data = r.opaque(kMaxWriteData);
    return r.ok();
}
void encode(rpc::XdrWriter& w, const WriteResp& p) {
    w.i32(p.error);
    w.u32(p.size);
}
bool decode(rpc::XdrReader& r, WriteResp& p) {
    p.error = r.i32();
    p.size = r.u32();
    return r.ok();
}
void encode(rpc::XdrWriter& w, const ReadParms& p) {
    w.i32(p.lid);
    w.u32(p.requestSize);
    w.u32(p.ioTimeout);
    w.u32(p.lockTimeout);
    w.u32(p.flags);
    w.u32(p.termChar);  // a char travels as a 4-byte word
}
bool decode(rpc::XdrReader& r, ReadParms& p) {
    p.lid = r.i32();
    p.requestSize = r.u32();
    p.ioTimeout = r.u32();
    p.lockTimeout = r.u32();
    p.flags = r.u32();
    p.termChar = static_cast<uint8_t>(r.u32());
    return r.ok();
}
void encode(rpc::XdrWriter& w, const ReadRespHead& p) {
    w.i32(p.error);
    w.u32(p.reason);
    w.u32(p.dataLength);
}
bool decode(rpc::XdrReader& r, ReadRespHead& p) {
    p.error = r.i32();
    p.reason = r.u32();
    p.dataLength = r.u32();
    return r.ok();
}
void encode(rpc::XdrWriter& w, const GenericParms& p) {
    w.i32(p.lid);
    w.u32(p.flags);
    w.u32(p.lockTimeout);
    w.u32(p.ioTimeout);
}
bool decode(rpc::XdrReader& r, GenericParms& p) {
    p.lid = r.i32();
    p.flags = r.u32();
    p.lockTimeout = r.u32();
    p.ioTimeout = r.u32();
    return r.ok();
}
void encode(rpc::XdrWriter& w, const ReadStbResp& p) {
    w.i32(p.error);
    w.u32(p.stb);
}
bool decode(rpc::XdrReader& r, ReadStbResp& p) {
    p.error = r.i32();
    p.stb = static_cast<uint8_t>(r.u32());
    return r.ok();
}
void encode(rpc::XdrWriter& w, const LockParms& p) {
    w.i32(p.lid);
    w.u32(p.flags);
    w.u32(p.lockTimeout);
}
bool decode(rpc::XdrReader& r, LockParms& p) {
    p.lid = r.i32();
    p.flags = r.u32();
    p.lockTimeout = r.u32();
    return r.ok();
}
void encodeLink(rpc::XdrWriter& w, int32_t lid) { w.i32(lid); }
void encodeError(rpc::XdrWriter& w, int32_t error) { w.i32(error); }

}  // namespace qv::vxi11
