#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <string>

#include "host/output/json.h"
#include "python/src/thumbnail_batch.h"

namespace qvpython {

// All with the interpreter's lock. What is no UTF-8 comes as surrogates, as os.fsdecode has it.

pybind11::str TextOf(const std::string& text);
pybind11::object ObjectOf(const qvhost::CJson& json);
// An array of height, width and 3 components that owns the pixels; None when there are none.
pybind11::object ArrayOf(SPixels pixels);

// Lets what is thrown arrive as the exceptions of qvthumbs._errors.
void RegisterExceptions();

}  // namespace qvpython
