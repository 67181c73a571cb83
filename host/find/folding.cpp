#include "host/find/folding.h"

#include <sqlite3.h>

#include <iterator>

#include "host/host_error.h"

namespace qvhost {
namespace {

// The categories of Unicode that are kept; all others separate.
constexpr const char* kKeptCategories = "L* M* N* P* S* Cf Cn Co Cs";

fts5_api* FindTextSearch(const SQLite::Database& db) {
  fts5_api* api = nullptr;
  sqlite3_stmt* query = nullptr;
  if (sqlite3_prepare_v2(db.getHandle(), "SELECT fts5(?1)", -1, &query, nullptr) != SQLITE_OK) return nullptr;
  sqlite3_bind_pointer(query, 1, static_cast<void*>(&api), "fts5_api_ptr", nullptr);
  sqlite3_step(query);
  sqlite3_finalize(query);
  return api;
}

int AddPart(void* context, int, const char* part, int size, int, int) noexcept {
  auto& text = *static_cast<std::string*>(context);
  try {
    if (!text.empty()) text += ' ';
    text.append(part, static_cast<std::size_t>(size));
  } catch (...) {
    return SQLITE_NOMEM;
  }
  return SQLITE_OK;
}

}  // namespace

struct CFolding::SState {
  SState() : db(":memory:") {
    fts5_api* const api = FindTextSearch(db);
    void* context = nullptr;
    const char* arguments[] = {"remove_diacritics", "2", "categories", kKeptCategories};
    if (!api || api->xFindTokenizer(api, "unicode61", &context, &methods) != SQLITE_OK ||
        methods.xCreate(context, arguments, static_cast<int>(std::size(arguments)), &tokenizer) != SQLITE_OK) {
      throw CHostError("this SQLite was built without FTS5, which searches texts; install the system's own");
    }
  }
  SState(const SState&) = delete;
  SState& operator=(const SState&) = delete;
  ~SState() { methods.xDelete(tokenizer); }

  SQLite::Database db;
  fts5_tokenizer methods{};
  Fts5Tokenizer* tokenizer = nullptr;
};

CFolding::CFolding() : m_state(std::make_shared<SState>()) {}

std::string CFolding::operator()(std::string_view text) const {
  std::string folded;
  const int status = m_state->methods.xTokenize(m_state->tokenizer, &folded, FTS5_TOKENIZE_DOCUMENT, text.data(),
                                                static_cast<int>(text.size()), &AddPart);
  if (status != SQLITE_OK) throw CHostError("out of memory");
  return folded;
}

}  // namespace qvhost
