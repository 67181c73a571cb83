#pragma once

#include <cstdint>
#include <variant>

#include "system/qvbytearray.h"
#include "system/qvstring.h"

// A value of one of a few kinds. While type change is disabled (the start), Set… of another kind than the one held is
// refused, except on an empty variant. A value type, not synchronised.
class CQvVariant {
 public:
  enum class EKind { Empty, Bool, Int, Double, String, Bytes };

  EKind GetKind() const noexcept { return static_cast<EKind>(m_value.index()); }
  void EnableTypeChange(bool enabled) noexcept { m_typeChange = enabled; }
  bool IsTypeChangeEnabled() const noexcept { return m_typeChange; }

  // 0, or -9 when the type may not change.
  std::int32_t SetBool(bool value) { return Assign(value); }
  std::int32_t SetInt(std::int64_t value) { return Assign(value); }
  std::int32_t SetDouble(double value) { return Assign(value); }
  std::int32_t SetString(const CQvStringW& value) { return Assign(value); }
  std::int32_t SetBytes(const CQvByteArray& value) { return Assign(value); }

  // 0 and the value, or -9 with *value untouched when another kind is held.
  std::int32_t GetBool(bool* value) const { return Read(value); }
  std::int32_t GetInt(std::int64_t* value) const { return Read(value); }
  std::int32_t GetDouble(double* value) const { return Read(value); }
  std::int32_t GetString(CQvStringW* value) const { return Read(value); }
  std::int32_t GetBytes(CQvByteArray* value) const { return Read(value); }

 private:
  template <class T>
  std::int32_t Assign(const T& value) {
    if (!m_typeChange && GetKind() != EKind::Empty && !std::holds_alternative<T>(m_value)) return -9;
    m_value = value;
    return 0;
  }
  template <class T>
  std::int32_t Read(T* value) const {
    const T* held = std::get_if<T>(&m_value);
    if (!held || !value) return -9;
    *value = *held;
    return 0;
  }

  std::variant<std::monostate, bool, std::int64_t, double, CQvStringW, CQvByteArray> m_value;
  bool m_typeChange = false;
};
