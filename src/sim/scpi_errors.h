// Standard SCPI error numbers and their texts, and the event status bit each
// class of error sets.
#pragma once

#include <cstdint>
#include <string>

namespace qv::sim {

namespace err {
constexpr int kNone = 0;
constexpr int kCommand = -100;
constexpr int kInvalidCharacter = -101;
constexpr int kSyntax = -102;
constexpr int kInvalidSeparator = -103;
constexpr int kDataType = -104;
constexpr int kParameterNotAllowed = -108;
constexpr int kMissingParameter = -109;
constexpr int kMnemonicTooLong = -112;
constexpr int kUndefinedHeader = -113;
constexpr int kSuffixOutOfRange = -114;
constexpr int kNumericData = -120;
constexpr int kInvalidCharInNumber = -121;
constexpr int kExponentTooLarge = -123;
constexpr int kTooManyDigits = -124;
constexpr int kInvalidSuffix = -131;
constexpr int kCharacterDataTooLong = -144;
constexpr int kInvalidStringData = -151;
constexpr int kBlockData = -160;
constexpr int kInvalidBlockData = -161;
constexpr int kExpression = -170;
constexpr int kExecution = -200;
constexpr int kSettingsConflict = -221;
constexpr int kDataOutOfRange = -222;
constexpr int kTooMuchData = -223;
constexpr int kIllegalParameterValue = -224;
constexpr int kMassStorage = -250;
constexpr int kMediaFull = -254;
constexpr int kFileNameNotFound = -256;
constexpr int kFileNameError = -257;
constexpr int kDeviceSpecific = -300;
constexpr int kQueueOverflow = -350;
constexpr int kQueryInterrupted = -410;
constexpr int kQueryUnterminated = -420;
}  // namespace err

// Event status register bits.
namespace esr {
constexpr uint8_t kOperationComplete = 0x01;
constexpr uint8_t kQueryError = 0x04;
constexpr uint8_t kDeviceError = 0x08;
constexpr uint8_t kExecutionError = 0x10;
constexpr uint8_t kCommandError = 0x20;
constexpr uint8_t kPowerOn = 0x80;
}  // namespace esr

// The standard text of a code, or nullptr when the code has none.
const char* scpiErrorText(int code);
// The text to report for a code: the standard one, else a generic one.
std::string scpiErrorTextOrGeneric(int code);
// The event status bit an error of this code sets (0 for code 0).
uint8_t esrBitForError(int code);

}  // namespace qv::sim
