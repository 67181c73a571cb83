#include "python/src/conversions.h"

#include "host/host_error.h"
#include "host/session/sqlite.h"

namespace qvpython {
namespace {

namespace py = pybind11;

// The program's advice names its options.
std::string ForCallers(std::string text) {
  constexpr std::string_view kOption = "choose another --db FILE", kAdvice = "choose another file";
  for (std::size_t at = text.find(kOption); at != text.npos; at = text.find(kOption, at + kAdvice.size())) {
    text.replace(at, kOption.size(), kAdvice);
  }
  return text;
}

void Raise(const char* name, const std::string& text) {
  const py::object type = py::module_::import("qvthumbs._errors").attr(name);
  PyErr_SetObject(type.ptr(), TextOf(text).ptr());
}

void RaiseFileError(const CFileError& error) {
  const py::object make = py::module_::import("qvthumbs._errors").attr("file_error");
  const py::object raised = make(static_cast<int>(error.Kind()), TextOf(error.what()));
  PyErr_SetObject(py::type::handle_of(raised).ptr(), raised.ptr());
}

void Translate(std::exception_ptr thrown) {
  try {
    if (thrown) std::rethrow_exception(thrown);
  } catch (const CClosedError& error) {
    Raise("ClosedError", error.what());
  } catch (const CFileError& error) {
    RaiseFileError(error);
  } catch (const qvhost::CHostError& error) {
    Raise("DatabaseError", ForCallers(error.what()));
  } catch (const SQLite::Exception& error) {
    Raise("DatabaseError", ForCallers(qvhost::ErrorText(error)));
  }
}

py::object NumberOf(const qvhost::CJson& json) {
  if (json.is_number_float()) return py::float_(json.get<double>());
  if (json.is_number_unsigned()) return py::int_(json.get<std::uint64_t>());
  return py::int_(json.get<std::int64_t>());
}

}  // namespace

py::str TextOf(const std::string& text) {
  PyObject* const decoded = PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "surrogateescape");
  if (!decoded) throw py::error_already_set();
  return py::reinterpret_steal<py::str>(decoded);
}

py::object ObjectOf(const qvhost::CJson& json) {
  if (json.is_null()) return py::none();
  if (json.is_boolean()) return py::bool_(json.get<bool>());
  if (json.is_number()) return NumberOf(json);
  if (json.is_string()) return TextOf(json.get_ref<const std::string&>());
  if (json.is_array()) {
    py::list list;
    for (const qvhost::CJson& entry : json) list.append(ObjectOf(entry));
    return list;
  }
  py::dict dictionary;
  for (const auto& [key, value] : json.items()) dictionary[TextOf(key)] = ObjectOf(value);
  return dictionary;
}

py::object ArrayOf(SPixels pixels) {
  if (!pixels.data) return py::none();
  constexpr py::ssize_t kComponents = 3;
  const auto height = static_cast<py::ssize_t>(pixels.height), width = static_cast<py::ssize_t>(pixels.width);
  std::uint8_t* const data = pixels.data.get();
  const py::capsule owner(data, [](void* owned) { delete[] static_cast<std::uint8_t*>(owned); });
  (void)pixels.data.release();
  return py::array_t<std::uint8_t>({height, width, kComponents}, data, owner);
}

void RegisterExceptions() { py::register_exception_translator(&Translate); }

}  // namespace qvpython
