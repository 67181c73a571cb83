#include "host/serve/server.h"

#include <fmt/format.h>
#include <httplib.h>

#include <map>
#include <mutex>
#include <thread>

#include "host/host_error.h"
#include "host/serve/answers.h"
#include "host/serve/live_thumbnails.h"
#include "host/serve/request_guard.h"
#include "host/serve/shown_folders.h"

namespace qvhost {
namespace {

using namespace std::chrono_literals;

// Each connection takes a thread while it lasts; a browser opens six.
constexpr std::size_t kMaxConnections = 72;
constexpr std::size_t kMaxWishBytes = 1 << 20;
constexpr int kKeepAliveSeconds = 2;
constexpr std::size_t kKeepAliveRequests = 200;
constexpr const char* kOpenAddress = "Open the address that the program printed.\n";
// A line that says nothing, to find out whether the client is still there.
constexpr std::string_view kPulse = ":\n\n";

// Pages of other sites can neither show what comes from here nor read it, and its own page loads nothing from
// elsewhere.
httplib::Headers SafetyHeaders() {
  return {{"Content-Security-Policy",
           "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; connect-src 'self'; "
           "base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
          {"Cross-Origin-Resource-Policy", "same-origin"},
          {"Cross-Origin-Opener-Policy", "same-origin"},
          {"X-Content-Type-Options", "nosniff"},
          {"Referrer-Policy", "no-referrer"},
          {"Cache-Control", "no-store"}};
}

void GiveAnswer(SAnswer answer, httplib::Response& response) {
  response.status = answer.status;
  response.set_content(answer.body, answer.type);
}

}  // namespace

class CServer::CImpl {
 public:
  CImpl(CSession& session, const CServedFolder& folder, CPictureProcess& pictures, const SServerOptions& options)
      : m_port(Bind(options.port)),
        m_guard(m_port),
        m_thumbnails(session, folder, options.highQuality),
        m_answers(session, folder, pictures, {m_thumbnails, m_shown}, options.title) {
    SetUp();
    m_listener = std::thread([this] { m_http.listen_after_bind(); });
    // It can be stopped only when it has begun.
    while (!m_http.is_running()) std::this_thread::sleep_for(1ms);
  }
  CImpl(const CImpl&) = delete;
  CImpl& operator=(const CImpl&) = delete;

  ~CImpl() {
    {
      const std::lock_guard<std::mutex> lock(m_mutex);
      m_isEnding = true;
      for (const auto& [client, queue] : m_queues) queue->Close();
    }
    m_http.stop();
    m_listener.join();
  }

  std::string Address() const { return m_guard.Address(); }

 private:
  int Bind(int port) {
    // The library's own options would let another program of the same user listen on the port as well.
    m_http.set_socket_options([](socket_t socket) {
      const int on = 1;
      setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    });
    const int bound = port == 0                                ? m_http.bind_to_any_port("127.0.0.1")
                      : m_http.bind_to_port("127.0.0.1", port) ? port
                                                               : -1;
    if (bound > 0) return bound;
    throw CHostError(fmt::format("port {} is in use or may not be used; choose another --port, or none", port));
  }

  void SetUp() {
    m_http.new_task_queue = [] { return new httplib::ThreadPool(kMaxConnections); };
    m_http.set_default_headers(SafetyHeaders());
    m_http.set_payload_max_length(kMaxWishBytes);
    m_http.set_keep_alive_timeout(kKeepAliveSeconds);
    m_http.set_keep_alive_max_count(kKeepAliveRequests);
    m_http.set_tcp_nodelay(true);
    m_http.set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
      return Route(request, response) ? httplib::Server::HandlerResponse::Handled
                                      : httplib::Server::HandlerResponse::Unhandled;
    });
    m_http.Post("/[0-9a-f]+/want", [this](const httplib::Request& request, httplib::Response& response) {
      GiveAnswer(m_answers.Want(request.body), response);
    });
    m_http.set_exception_handler([](const httplib::Request&, httplib::Response& response, std::exception_ptr) {
      GiveAnswer({500, "text/plain; charset=utf-8", "this went wrong\n"}, response);
    });
  }

  // Whether the request is answered already: a wish's body is read later.
  bool Route(const httplib::Request& request, httplib::Response& response) {
    std::string what;
    if (!m_guard.IsOwnHost(request.get_header_value("Host")) ||
        !m_guard.IsOwnOrigin(request.get_header_value("Origin")) || !m_guard.TakeToken(request.path, &what)) {
      GiveAnswer({403, "text/plain; charset=utf-8", kOpenAddress}, response);
      return true;
    }
    if (request.method == "POST" && what == "want") return false;
    if (request.method != "GET") {
      GiveAnswer({405, "text/plain; charset=utf-8", "not so\n"}, response);
    } else if (what == "events") {
      StreamEvents(response);
    } else {
      GiveAnswer(m_answers.Get(what, [&](const char* name) { return request.get_param_value(name); }), response);
    }
    return true;
  }

  void StreamEvents(httplib::Response& response) {
    const auto queue = std::make_shared<CEventQueue>();
    const std::uint64_t client = m_thumbnails.Connect(queue);
    m_shown.Connect(client, queue);
    {
      const std::lock_guard<std::mutex> lock(m_mutex);
      m_queues[client] = queue;
      if (m_isEnding) queue->Close();
    }
    const auto provide = [queue](std::size_t, httplib::DataSink& sink) {
      std::string events;
      if (!queue->Wait(1s, &events)) return false;
      if (events.empty()) events = kPulse;
      return sink.is_writable() && sink.write(events.data(), events.size());
    };
    response.set_chunked_content_provider("text/event-stream", provide, [this, client](bool) {
      m_shown.Disconnect(client);
      m_thumbnails.Disconnect(client);
      const std::lock_guard<std::mutex> lock(m_mutex);
      m_queues.erase(client);
    });
  }

  httplib::Server m_http;
  const int m_port;
  const CRequestGuard m_guard;
  CLiveThumbnails m_thumbnails;
  CShownFolders m_shown;
  CAnswers m_answers;
  std::mutex m_mutex;
  bool m_isEnding = false;                                         // guarded by m_mutex
  std::map<std::uint64_t, std::shared_ptr<CEventQueue>> m_queues;  // guarded by m_mutex
  std::thread m_listener;
};

CServer::CServer(CSession& session, const CServedFolder& folder, CPictureProcess& pictures,
                 const SServerOptions& options)
    : m_impl(std::make_unique<CImpl>(session, folder, pictures, options)) {}

CServer::~CServer() = default;

std::string CServer::Address() const { return m_impl->Address(); }

}  // namespace qvhost
