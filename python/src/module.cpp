#include <pybind11/stl.h>

#include "host/session/diagnostics.h"
#include "python/src/books.h"
#include "python/src/conversions.h"
#include "python/src/file_records.h"

// What the Python files of the package stand on; they are its only user. Every call lets go of the interpreter's lock
// while it works, and holds it again before the service may close, so that a thread that the ending interpreter does
// not wait for is never met inside.

namespace qvpython {
namespace {

namespace py = pybind11;

using CHandlePointer = std::shared_ptr<CHandle>;

template <class Work>
auto InService(const CHandle& handle, const Work& work) {
  const CUse use(handle);
  const py::gil_scoped_release released;
  return work(use.Session());
}

// Closing waits for calls of other threads, which want the lock to end.
void CloseReleased(CHandle* handle) {
  const py::gil_scoped_release released;
  delete handle;
}

CHandlePointer OpenHandle(const std::string& file, bool allUsers, const std::string& planes, int time, int position,
                          const std::string& channels, bool stretchTogether, bool highQuality, bool writable,
                          std::uint32_t inMemory) {
  const qvhost::SViewOptions view{planes, time, position, channels, stretchTogether};
  const SOpening opening{{file, allUsers, view}, writable, highQuality, inMemory};
  const py::gil_scoped_release released;
  return CHandlePointer(new CHandle(opening), &CloseReleased);
}

void AddHandle(py::module_& module) {
  py::class_<CHandle, CHandlePointer>(module, "Handle")
      .def(py::init(&OpenHandle), py::kw_only(), py::arg("file"), py::arg("all_users"), py::arg("planes"),
           py::arg("time"), py::arg("position"), py::arg("channels"), py::arg("stretch_together"),
           py::arg("high_quality"), py::arg("writable"), py::arg("in_memory"))
      .def("close", &CHandle::Close, py::call_guard<py::gil_scoped_release>())
      .def_property_readonly("is_open", &CHandle::IsOpen)
      .def_property_readonly("path", [](const CHandle& handle) { return py::bytes(handle.Path()); });
}

void AddBatch(CThumbnailBatch& batch, const std::vector<std::pair<std::int64_t, std::string>>& files) {
  InService(batch.Handle(), [&](qvhost::CSession& session) { batch.Add(session.Service(), files); });
}

// (number, array or None, kind of failure, reason), or None when the time is over.
py::object NextOf(CThumbnailBatch& batch, double seconds) {
  const std::chrono::milliseconds timeout(static_cast<std::int64_t>(seconds * 1000.0));
  auto next =
      InService(batch.Handle(), [&](qvhost::CSession& session) { return batch.Next(session.Service(), timeout); });
  if (!next) return py::none();
  return py::make_tuple(next->number, ArrayOf(std::move(next->pixels)), static_cast<int>(next->failure.kind),
                        TextOf(next->failure.reason));
}

void CancelBatch(CThumbnailBatch& batch) {
  if (CSharedService::Get().IsForked()) return;
  try {
    InService(batch.Handle(), [&](qvhost::CSession& session) { batch.Cancel(&session.Service()); });
  } catch (const CClosedError&) {
    batch.Cancel(nullptr);
  }
}

void AddThumbnails(py::module_& module) {
  py::class_<CThumbnailBatch>(module, "Batch")
      .def(py::init<CHandlePointer>())
      .def("add", &AddBatch)
      .def("next", &NextOf)
      .def("cancel", &CancelBatch)
      .def_property_readonly("remaining", &CThumbnailBatch::Remaining, py::call_guard<py::gil_scoped_release>());
  module.def("stored_jpeg", [](const CHandle& handle, const std::string& path) {
    return py::bytes(InService(
        handle, [&](qvhost::CSession& session) { return ReadStoredJpeg(session, path, handle.IsHighQuality()); }));
  });
  module.def("encode_jpeg", [](const py::array_t<std::uint8_t, py::array::c_style>& picture) {
    const auto pixels = picture.unchecked<3>();
    const auto height = static_cast<std::uint32_t>(pixels.shape(0)),
               width = static_cast<std::uint32_t>(pixels.shape(1));
    return py::bytes(EncodeAsStored(picture.data(), width, height));
  });
}

void AddRecords(py::module_& module) {
  module.def("info", [](const CHandle& handle, const std::string& path) {
    return ObjectOf(InService(handle, [&](qvhost::CSession& session) { return ReadInfo(session, path); }));
  });
  module.def("history",
             [](const CHandle& handle, const std::string& user, const std::string& since, const std::string& until) {
               return ObjectOf(InService(
                   handle, [&](qvhost::CSession& session) { return ReadHistoryBook(session, user, since, until); }));
             });
  module.def("record", [](const CHandle& handle, const std::string& path, const std::string& user,
                          const std::string& time, int experiment) {
    return ObjectOf(InService(
        handle, [&](qvhost::CSession& session) { return RecordFile(session, path, user, time, experiment); }));
  });
  module.def("users", [](const CHandle& handle) { return ObjectOf(InService(handle, &ReadUsers)); });
  module.def("experiments", [](const CHandle& handle) { return ObjectOf(InService(handle, &ReadExperiments)); });
  module.def("experiment", [](const CHandle& handle, int id) {
    return ObjectOf(InService(handle, [&](qvhost::CSession& session) { return ReadExperiment(session, id); }));
  });
}

}  // namespace
}  // namespace qvpython

PYBIND11_MODULE(_service, module) {
  using namespace qvpython;
  qvhost::CDiagnostics::Get().Install(false);
  RegisterExceptions();
  AddHandle(module);
  AddThumbnails(module);
  AddRecords(module);
  module.def(
      "shut_down", [] { CSharedService::Get().ShutDown(); }, pybind11::call_guard<pybind11::gil_scoped_release>());
  // What the components have reported since the last call.
  module.def("take_messages", [] { return TextOf(qvhost::CDiagnostics::Get().TakeMessages()); });
  module.attr("__version__") = QVTHUMBS_VERSION;
}
