#include "platform/windows/propvariants.h"

#include <algorithm>
#include <limits>
#include <span>

#include "platform/windows/file_times.h"

namespace platform::windows {

namespace {

// A type tag such as VT_VECTOR | VT_LPWSTR.
constexpr VARTYPE string_list_type = VT_VECTOR | VT_LPWSTR;
constexpr VARTYPE number_list_type = VT_VECTOR | VT_R8;

template <class T>
T* allocate(std::size_t count) {
  if (count > std::numeric_limits<std::size_t>::max() / sizeof(T)) return nullptr;
  return static_cast<T*>(CoTaskMemAlloc(count * sizeof(T)));
}

wchar_t* copy_of(const std::wstring& text) {
  auto* copy = allocate<wchar_t>(text.size() + 1);
  if (copy != nullptr) std::copy_n(text.c_str(), text.size() + 1, copy);
  return copy;
}

// Each alternative of the value, set in a PROPVARIANT that is whole after every step, so that it can be cleared.
struct setter {
  PROPVARIANT& made;

  hresult operator()(std::monostate) const { return hresult::ok; }

  hresult operator()(std::uint32_t number) const {
    made.vt = VT_UI4;
    made.ulVal = number;
    return hresult::ok;
  }

  hresult operator()(std::int32_t number) const {
    made.vt = VT_I4;
    made.lVal = number;
    return hresult::ok;
  }

  hresult operator()(std::uint16_t number) const {
    made.vt = VT_UI2;
    made.uiVal = number;
    return hresult::ok;
  }

  hresult operator()(const std::wstring& text) const {
    made.pwszVal = copy_of(text);
    if (made.pwszVal == nullptr) return hresult::out_of_memory;
    made.vt = VT_LPWSTR;
    return hresult::ok;
  }

  hresult operator()(const std::vector<std::wstring>& list) const {
    CALPWSTR& elements = made.calpwstr;
    if (list.size() > std::numeric_limits<ULONG>::max()) return hresult::out_of_memory;
    made.vt = string_list_type;
    elements.cElems = 0;
    elements.pElems = nullptr;
    if (list.empty()) return hresult::ok;

    elements.pElems = allocate<wchar_t*>(list.size());
    if (elements.pElems == nullptr) return hresult::out_of_memory;
    for (const std::wstring& text : list) {
      wchar_t* const copy = copy_of(text);
      if (copy == nullptr) return hresult::out_of_memory;
      elements.pElems[elements.cElems++] = copy;
    }
    return hresult::ok;
  }

  hresult operator()(const other_type&) const { return hresult::invalid_argument; }

  hresult operator()(double number) const {
    made.vt = VT_R8;
    made.dblVal = number;
    return hresult::ok;
  }

  hresult operator()(const time_value& value) const {
    made.vt = VT_FILETIME;
    made.filetime = native_time(value.time);
    return hresult::ok;
  }

  hresult operator()(const std::vector<double>& numbers) const {
    if (numbers.size() > std::numeric_limits<ULONG>::max()) return hresult::out_of_memory;
    made.vt = number_list_type;
    made.cadbl.cElems = 0;
    made.cadbl.pElems = nullptr;
    if (numbers.empty()) return hresult::ok;

    made.cadbl.pElems = allocate<double>(numbers.size());
    if (made.cadbl.pElems == nullptr) return hresult::out_of_memory;
    std::copy(numbers.begin(), numbers.end(), made.cadbl.pElems);
    made.cadbl.cElems = static_cast<ULONG>(numbers.size());
    return hresult::ok;
  }
};

std::vector<std::wstring> list_of(const CALPWSTR& elements) {
  if (elements.pElems == nullptr) return {};
  std::vector<std::wstring> list;
  list.reserve(elements.cElems);
  for (const wchar_t* text : std::span(elements.pElems, elements.cElems)) {
    if (text != nullptr) list.emplace_back(text);
  }
  return list;
}

std::vector<double> list_of(const CADBL& elements) {
  if (elements.pElems == nullptr) return {};
  return {elements.pElems, elements.pElems + elements.cElems};
}

}  // namespace

hresult to_propvariant(const property_value& value, scoped_propvariant& made) {
  return std::visit(setter{*made.put()}, value);
}

property_value from_propvariant(const PROPVARIANT& value) {
  switch (value.vt) {
    case VT_EMPTY:
      return std::monostate{};
    case VT_UI4:
      return std::uint32_t{value.ulVal};
    case VT_I4:
      return std::int32_t{value.lVal};
    case VT_UI2:
      return std::uint16_t{value.uiVal};
    case VT_LPWSTR:
      return value.pwszVal != nullptr ? property_value(std::wstring(value.pwszVal)) : std::monostate{};
    case string_list_type:
      return list_of(value.calpwstr);
    case VT_R8:
      return value.dblVal;
    case VT_FILETIME:
      return time_value{ticks_of(value.filetime)};
    case number_list_type:
      return list_of(value.cadbl);
    default:
      return other_type{value.vt};
  }
}

}  // namespace platform::windows
