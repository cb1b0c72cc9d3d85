// ONC RPC records and VXI-11 messages from the network: record assembly with
// its size cap, and every decoder, on arbitrary bytes.
#include "oncrpc/oncrpc.h"
#include "oncrpc/vxi11.h"

using namespace qv;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    rpc::RecordAssembler as(1 << 16);
    size_t pos = 0;
    while (pos < size && !as.failed()) {
        size_t used = as.feed(data + pos, size - pos);
        pos += used;
        if (as.hasRecord()) {
            rpc::Bytes rec = as.takeRecord();
            rpc::XdrReader r(rec);
            rpc::CallHeader ch;
            if (rpc::decodeCall(r, ch)) {
                vxi11::CreateLinkParms cl;
                vxi11::WriteParms wp;
                vxi11::ReadParms rp;
                vxi11::GenericParms gp;
                rpc::PmapMapping m;
                switch (ch.proc % 4) {
                case 0: vxi11::decode(r, cl); break;
                case 1: vxi11::decode(r, wp); break;
                case 2: vxi11::decode(r, rp); break;
                default: rpc::decodeMapping(r, m); vxi11::decode(r, gp); break;
                }
            }
            rpc::XdrReader r2(rec);
            rpc::ReplyHeader rh;
            if (rpc::decodeReply(r2, rh)) {
                vxi11::ReadRespHead head;
                vxi11::CreateLinkResp resp;
                if (vxi11::decode(r2, head)) r2.skip(head.dataLength);
                vxi11::decode(r2, resp);
            }
        } else if (used == 0) {
            break;
        }
    }
    return 0;
}
