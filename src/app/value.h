// A small tagged value: what the ini layer and the text converters carry
// where the type is decided at run time. The tag decides every conversion.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

namespace qv::app {

enum class ValueType { Missing, String, Boolean, Byte, Int16, Int32, Single, Double };

class Value {
public:
    Value() = default;  // missing
    Value(const char* s) : v_(std::string(s)) {}
    Value(std::string s) : v_(std::move(s)) {}
    Value(std::string_view s) : v_(std::string(s)) {}
    Value(bool b) : v_(b) {}
    Value(uint8_t n) : v_(n) {}
    Value(int16_t n) : v_(n) {}
    Value(int32_t n) : v_(n) {}
    Value(float n) : v_(n) {}
    Value(double n) : v_(n) {}

    ValueType type() const { return static_cast<ValueType>(v_.index()); }
    bool isMissing() const { return type() == ValueType::Missing; }
    bool isString() const { return type() == ValueType::String; }
    bool isNumber() const;

    // The text as it stands for a string; empty for anything else.
    const std::string& text() const;
    bool boolean() const { return type() == ValueType::Boolean && std::get<bool>(v_); }
    // The number of a numeric or boolean value (true is 1); 0 otherwise.
    double number() const;

    bool operator==(const Value& other) const { return v_ == other.v_; }

private:
    std::variant<std::monostate, std::string, bool, uint8_t, int16_t, int32_t, float, double> v_;
};

}  // namespace qv::app
