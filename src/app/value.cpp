#include "app/value.h"

namespace qv::app {

bool Value::isNumber() const {
    switch (type()) {
    case ValueType::Byte:
    case ValueType::Int16:
    case ValueType::Int32:
    case ValueType::Single:
    case ValueType::Double: return true;
    default: return false;
    }
}

const std::string& Value::text() const {
    static const std::string empty;
    if (auto* s = std::get_if<std::string>(&v_)) return *s;
    return empty;
}

double Value::number() const {
    switch (type()) {
    case ValueType::Boolean: return std::get<bool>(v_) ? 1.0 : 0.0;
    case ValueType::Byte: return std::get<uint8_t>(v_);
    case ValueType::Int16: return std::get<int16_t>(v_);
    case ValueType::Int32: return std::get<int32_t>(v_);
    case ValueType::Single: return std::get<float>(v_);
    case ValueType::Double: return std::get<double>(v_);
    default: return 0.0;
    }
}

}  // namespace qv::app
