#include <fmt/format.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <thread>

#include "host/commands/command.h"
#include "host/serve/opened_page.h"
#include "host/serve/server.h"
#include "host/session/interrupt.h"

namespace qvhost {
namespace {

using namespace std::chrono_literals;

constexpr int kMaxPort = 65535;

struct SArguments {
  SDatabaseOptions database;
  std::string folder;
  SServerOptions server;
  bool open = false;
  bool json = false;
};

// What stands on the screen with it is that the address is to be opened by hand then.
void OpenPage(const std::string& address, std::optional<COpenedPage>* page) {
  try {
    page->emplace(address);
  } catch (const CHostError& error) {
    std::fprintf(stderr, "qvthumbs: %s\n", error.what());
  }
}

void Serve(const SArguments& arguments) {
  const CServedFolder folder(arguments.folder.empty() ? std::filesystem::current_path().string() : arguments.folder);
  // Before anything here starts a thread.
  CPictureProcess pictures;
  CSession session;
  session.Open(arguments.database, EDatabaseNeed::Use);
  SServerOptions options = arguments.server;
  options.title = std::filesystem::path(folder.Path()).filename().string();
  if (options.title.empty()) options.title = folder.Path();
  const CServer server(session, folder, pictures, options);
  if (arguments.json) {
    PrintJson({{"address", server.Address()}, {"folder", folder.Path()}});
  } else {
    std::printf("%s\n", server.Address().c_str());
  }
  std::fflush(stdout);
  std::optional<COpenedPage> page;
  if (arguments.open) OpenPage(server.Address(), &page);
  if (!arguments.json) {
    std::fprintf(stderr, "%sCtrl-C ends it.\n",
                 page ? "The browser shows it; " : "Open this address in a browser on this machine; ");
  }
  while (!CInterrupt::Requested()) std::this_thread::sleep_for(50ms);
}

}  // namespace

void AddServeCommand(CCommand program) {
  const auto arguments = std::make_shared<SArguments>();
  CCommand command = program.AddVerb("serve", "Show a folder in a browser, thumbnails made as they are looked at");
  AddDatabaseOptions(command, &arguments->database);
  command.AddOption("--port", &arguments->server.port, "The port to listen on (default: one that is free)")
      .Between(0, kMaxPort)
      .Type("N");
  AddQualityOption(command, &arguments->server.highQuality);
  AddViewOptions(command, &arguments->database);
  command.AddFlag("--open", &arguments->open, "Open the address in the browser (with xdg-open)");
  AddJsonOption(command, &arguments->json);
  command.AddOption("folder", &arguments->folder, "The folder to show, with those below (default: the current one)")
      .Type("FOLDER")
      .FileNames();
  command.SetFooter(
      "Prints the address to open. Only this machine reaches it, and only who knows the address, which is another one\n"
      "each time: it shows everything in the folder. Ctrl-C ends it.\n\n"
      "Example:\n  qvthumbs serve --open ~/images");
  command.SetWork([arguments] { Serve(*arguments); });
}

}  // namespace qvhost
