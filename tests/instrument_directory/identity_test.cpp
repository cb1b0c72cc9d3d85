// Identification answers to records: family, alias, fields and display text.
#include "dir_fixture.h"
#include "instrument_directory/visa_scan.h"

#include <gtest/gtest.h>

using namespace qv::dir;

namespace {

struct IdCase {
    const char* name;
    std::string raw;  // the answer as read, line ends included
    std::string custom;
    IdentOutcome outcome;
    std::string typ, group, serial, firmware, info, mapped;
};

class Identification : public ::testing::TestWithParam<IdCase> {
protected:
    void SetUp() override {
        qvtest::loadShippedTables();
        ResetRecords();
    }
};

TEST_P(Identification, FillsTheRecord) {
    const IdCase& c = GetParam();
    DeviceRecord& r = deviceRecords()[0];
    r.DeviceInfo = kInfoPlaceholderIni;
    EXPECT_EQ(IdentifyAnswer(c.raw, 0, c.custom, true), c.outcome);
    EXPECT_EQ(r.DeviceTyp, c.typ);
    EXPECT_EQ(r.DeviceGroup, c.group);
    EXPECT_EQ(r.DeviceSerial, c.serial);
    EXPECT_EQ(r.DeviceFirmware, c.firmware);
    EXPECT_EQ(r.DeviceInfo, c.info);
    EXPECT_EQ(r.DeviceMappedName, c.mapped);
    EXPECT_EQ(r.Mapped, c.mapped.empty() ? 0 : -1);
    EXPECT_EQ(r.Identified, (c.outcome == IdentOutcome::Matched || c.outcome == IdentOutcome::NoMatch) ? -1 : 0);
    EXPECT_EQ(r.IDAnswer.find_first_of(std::string("\r\n\0", 3)), std::string::npos);
}

const std::string kNul(1, '\0');

INSTANTIATE_TEST_SUITE_P(
    Answers, Identification,
    ::testing::Values(
        IdCase{"Family", "Tesselhorn,TKD-7,100123/007,4.40\n", "", IdentOutcome::Matched, "TKD", "7", "100123/007",
               "4.40", "TKD (TKD)", ""},
        IdCase{"CustomName", "Tesselhorn,TKD-7,100123/007,4.40", "Lab|GPIB0|20", IdentOutcome::Matched, "TKD", "7",
               "100123/007", "4.40", "Lab|GPIB0|20 (TKD)", ""},
        IdCase{"CustomNameWithParenthesis", "Tesselhorn,TKD-7,1/2,4.40", "Bench (left)|LAN|x",
               IdentOutcome::Matched, "TKD", "7", "1/2", "4.40", "Bench (left)|LAN|x", ""},
        IdCase{"MakerWordLowerCase", "tesselhorn,KDC-8,100912/008,1.32", "", IdentOutcome::Matched, "KDC", "8",
               "100912/008", "1.32", "KDC (KDC)", ""},
        IdCase{"LongerTagBeforeItsPrefix", "Tesselhorn,TKAH-13,100870/013,1.62", "", IdentOutcome::Matched, "TKAH",
               "-13", "100870/013", "1.62", "TKAH (TKAH)", ""},
        IdCase{"ShorterTag", "Tesselhorn,TKA-3,830114/003,3.93", "", IdentOutcome::Matched, "TKA", "3",
               "830114/003", "3.93", "TKA (TKA)", ""},
        // The group is the model field from its fifth character, whatever the
        // tag's length: four-letter tags keep the dash.
        IdCase{"PowerMeterPrefixes", "Tesselhorn,PWEF-4,101215/004,1.88", "", IdentOutcome::Matched, "PWEF", "-4",
               "101215/004", "1.88", "PWEF (PWEF)", ""},
        IdCase{"Alias", "Tesselhorn,TKV-13,100788/013,4.41", "", IdentOutcome::Matched, "TKD", "13", "100788/013",
               "4.41", "TKV (TKV)", "TKV"},
        IdCase{"AliasWithCustomName", "Tesselhorn,KDX-26,101955/026,2.72", "Bay|LAN|h", IdentOutcome::Matched,
               "TKW", "26", "101955/026", "2.72", "Bay|LAN|h (KDX)", "KDX"},
        IdCase{"PrefixesAreCaseSensitive", "Tesselhorn,tkd-7,1/2,4.40", "", IdentOutcome::NoMatch, "---", "7", "1/2",
               "4.40", "--- (---)", ""},
        IdCase{"NoFamilyFits", "Tesselhorn,ZZZ-1,1/2,1.00", "", IdentOutcome::NoMatch, "---", "1", "1/2", "1.00",
               "--- (---)", ""},
        IdCase{"OtherMaker", "Other Corp,TKD-7,1/2,4.40", "Lab|GPIB0|20", IdentOutcome::Unknown, "DeviceUnknown", "",
               "", "", "Lab|GPIB0|20 (DeviceUnknown)", ""},
        IdCase{"CarriageReturnAndNul", "Tesselhorn,GLN-3,102290/003,4.80\r\n" + kNul + kNul, "",
               IdentOutcome::Matched, "GLN", "3", "102290/003", "4.80", "GLN (GLN)", ""},
        IdCase{"FewerThanThreeFields", "Tesselhorn,MYE-1004", "", IdentOutcome::Matched, "MYE", "1004", "", "",
               "MYE (MYE)", ""},
        // Without a comma nothing is cut: the whole answer is matched.
        IdCase{"MakerWordAlone", "TESSELHORN", "", IdentOutcome::NoMatch, "---", "ELHORN", "", "", "--- (---)", ""},
        IdCase{"NoComma", "TKD-7 Tesselhorn", "", IdentOutcome::Matched, "TKD", "7 Tesselhorn", "", "", "TKD (TKD)",
               ""},
        IdCase{"GroupShorterThanFiveCharacters", "Tesselhorn,HUV,1,2", "", IdentOutcome::Matched, "HUV", "", "1",
               "2", "HUV (HUV)", ""},
        IdCase{"EmptyAfterCleaning", "  \r\n" + kNul, "", IdentOutcome::Empty, "NoDevice", "", "", "",
               "-|-|- (---)", ""}),
    [](const auto& info) { return std::string(info.param.name); });

// The scans of the bus and of one host give no custom name and leave the
// placeholder for a foreign answer.
TEST(Identification, UnknownMakerKeepsPlaceholderOutsideIniScan) {
    qvtest::loadShippedTables();
    ResetRecords();
    deviceRecords()[0].DeviceInfo = kInfoPlaceholderBus;
    EXPECT_EQ(IdentifyAnswer("Acme,X,1,2", 0, "", false), IdentOutcome::Unknown);
    EXPECT_EQ(deviceRecords()[0].DeviceInfo, kInfoPlaceholderBus);
}

TEST(Identification, OutOfRangeRecordChangesNothing) {
    qvtest::loadShippedTables();
    ResetRecords();
    EXPECT_FALSE(Identify("TKD-7,1,2", 5));
    EXPECT_EQ(IdentifyAnswer("Tesselhorn,TKD-7,1,2", -1, "", true), IdentOutcome::Empty);
    EXPECT_EQ(deviceRecords().size(), 1u);
}

// Every family and every alias of the shipped capability file is identified
// as that family: the master list's order must let each tag win over the
// shorter tags that are its prefixes.
TEST(Identification, EveryShippedModelFindsItsFamily) {
    qvtest::loadShippedTables();
    const IdentityTables& t = identityTables();
    std::vector<std::pair<std::string, std::string>> models;  // model, family
    for (const std::string& m : t.masters)
        if (!m.empty()) models.emplace_back(m, m);
    for (const AliasElement& e : t.aliasTable)
        for (const std::string& a : e.aliases)
            if (!a.empty()) models.emplace_back(a, e.master);
    ASSERT_GT(models.size(), 30u);
    for (const auto& [model, family] : models) {
        ResetRecords();
        ASSERT_EQ(IdentifyAnswer("Tesselhorn," + model + "-1,100000/001,1.00", 0, "", true), IdentOutcome::Matched)
            << model;
        EXPECT_EQ(deviceRecords()[0].DeviceTyp, family) << model;
        EXPECT_EQ(deviceRecords()[0].DeviceMappedName, model == family ? "" : model) << model;
    }
}

}  // namespace
