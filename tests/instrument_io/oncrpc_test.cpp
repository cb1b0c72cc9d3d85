// The RPC codec against hand-made wire bytes, and the record assembler's
// limits against a hostile peer.
#include "oncrpc/oncrpc.h"
#include "oncrpc/vxi11.h"

#include <gtest/gtest.h>

using namespace qv;

TEST(OncRpc, CallHeaderOnTheWire) {
    rpc::Bytes b;
    rpc::XdrWriter w(b);
    rpc::encodeCall(w, {0x11223344, 100000, 2, 3});
    const uint8_t expect[] = {0x11, 0x22, 0x33, 0x44, 0, 0, 0, 0, 0, 0, 0, 2, 0, 1, 0x86, 0xA0, 0, 0, 0, 2,
                              0,    0,    0,    3,    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,    0,    0, 0, 0, 0};
    ASSERT_EQ(b.size(), sizeof expect);
    EXPECT_TRUE(std::equal(b.begin(), b.end(), expect));
    rpc::XdrReader r(b);
    rpc::CallHeader h;
    ASSERT_TRUE(rpc::decodeCall(r, h));
    EXPECT_EQ(h.xid, 0x11223344u);
    EXPECT_EQ(h.proc, 3u);
    EXPECT_EQ(r.remaining(), 0u);
}

TEST(OncRpc, OpaqueIsPaddedAndBounded) {
    rpc::Bytes b;
    rpc::XdrWriter w(b);
    w.string("inst0");
    EXPECT_EQ(b.size(), 4u + 8u);
    rpc::XdrReader ok(b);
    EXPECT_EQ(ok.string(16), "inst0");
    rpc::XdrReader tooLong(b);
    tooLong.string(4);
    EXPECT_FALSE(tooLong.ok());
    b.pop_back();  // padding missing: truncated
    rpc::XdrReader cut(b);
    cut.opaque(16);
    EXPECT_FALSE(cut.ok());
}

TEST(OncRpc, ReaderPoisonsAfterFirstFailure) {
    const uint8_t two[] = {0, 0};
    rpc::XdrReader r(two, sizeof two);
    r.u32();
    EXPECT_FALSE(r.ok());
    r.u32();
    EXPECT_EQ(r.remaining(), 0u);
}

TEST(OncRpc, AssemblesFragmentsFedByteByByte) {
    rpc::Bytes wire(4, 0);
    rpc::putFragmentHeader(wire.data(), 3, false);
    wire.insert(wire.end(), {'a', 'b', 'c'});
    wire.resize(wire.size() + 4);
    rpc::putFragmentHeader(wire.data() + 7, 2, true);
    wire.insert(wire.end(), {'d', 'e'});
    wire.push_back('X');  // the next record's first byte stays unread
    rpc::RecordAssembler as(100);
    size_t pos = 0;
    while (!as.hasRecord()) pos += as.feed(wire.data() + pos, 1);
    EXPECT_EQ(pos, wire.size() - 1);
    rpc::Bytes rec = as.takeRecord();
    EXPECT_EQ(std::string(rec.begin(), rec.end()), "abcde");
}

TEST(OncRpc, RefusesRecordsOverTheCap) {
    uint8_t hdr[4];
    rpc::putFragmentHeader(hdr, 0x7FFFFFFF, true);
    rpc::RecordAssembler as(1 << 20);
    as.feed(hdr, 4);
    EXPECT_TRUE(as.failed());
}

TEST(Vxi11, ReadParmsRoundTrip) {
    vxi11::ReadParms p;
    p.lid = 7;
    p.requestSize = 1024;
    p.ioTimeout = 5000;
    p.flags = vxi11::kFlagTermCharSet;
    p.termChar = '\n';
    rpc::Bytes b;
    rpc::XdrWriter w(b);
    vxi11::encode(w, p);
    EXPECT_EQ(b.size(), 24u);  // six words: a char travels as a word
    rpc::XdrReader r(b);
    vxi11::ReadParms q;
    ASSERT_TRUE(vxi11::decode(r, q));
    EXPECT_EQ(q.termChar, '\n');
    EXPECT_EQ(q.flags, vxi11::kFlagTermCharSet);
}
