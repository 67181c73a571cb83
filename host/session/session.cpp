#include "host/session/session.h"

#include <fmt/format.h>

#include "host/host_error.h"
#include "host/session/database_error.h"
#include "host/session/diagnostics.h"
#include "system/qvstatus.h"
#include "thumbnailcache/qvrelaxedsync.h"

namespace qvhost {
void LoadComponents() {
  const CQvStringW folder = CQvRTTI::GetLibraryFolder();
  if (CQvRTTI::ScanFolder(folder.c_str()) >= 0) return;
  throw CHostError(fmt::format("the folder of the program's libraries, {}, cannot be read; install the program again",
                               CQvStringUtils::WtoUTF8(folder).Str()));
}

CQvRef<IQvThumbnailCache> FindService() {
  return QvCreate<IQvThumbnailCache>("CQvThumbnailCacheImpl", "IQvThumbnailCache", SQvFileLine(__FILE__, __LINE__));
}

CSession::CSession(const QvThumbnailListener& listener) : m_listener(listener) {
  LoadComponents();
  m_service = FindService();
  if (m_service) return;
  throw CHostError(fmt::format("the thumbnail service was not found in {}; install the program again. {}",
                               CQvStringUtils::WtoUTF8(CQvRTTI::GetLibraryFolder()).Str(),
                               CDiagnostics::Get().TakeMessages()));
}

void CSession::Open(const SDatabaseOptions& options, EDatabaseNeed need) {
  m_database.emplace(ChooseDatabase(options), need);
  CDiagnostics::Get().TakeMessages();
  // Before the workers start and after they have ended, so that the list of listeners never changes under them.
  m_service->AddListener(m_listener.first, m_listener.second);
  const CQvStringW path = CQvStringUtils::UTF8toW(m_database->Path());
  const SDatabaseChoice& choice = m_database->Choice();
  if (choice.view) SetProcessView(*choice.view);
  const bool isOrdinary = !choice.view || ViewName(*choice.view).empty();
  const bool isSharedFile = choice.allUsers && isOrdinary && !m_database->IsCopy();
  // Commands with a view make thumbnails, which can be made again; the books of others cannot.
  std::optional<CQvRelaxedSync> relaxed;
  if (choice.view && !choice.allUsers) relaxed.emplace();
  const std::int32_t status = m_service->OpenDatabase(isSharedFile ? nullptr : path.c_str());
  relaxed.reset();
  if (status != kQvOk) {
    m_service->RemoveListener(m_listener);
    const std::string reason = ExplainDatabaseError(CDiagnostics::Get().TakeMessages());
    throw CHostError(ExplainFailedOpen(m_database->Choice(), reason));
  }
  m_open = true;
  // Another process may have made the file meanwhile.
  m_database->RequireView();
}

void CSession::Close() noexcept {
  if (!m_open) return;
  m_open = false;
  m_service->CloseDatabase();
  m_service->RemoveListener(m_listener);
}

}  // namespace qvhost
