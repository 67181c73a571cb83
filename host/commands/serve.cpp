#include <fmt/format.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <thread>

#include "host/commands/command.h"
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
  bool json = false;
};

void Serve(const SArguments& arguments) {
  const CServedFolder folder(arguments.folder);
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
    std::fprintf(stderr, "Open this address in a browser on this machine; Ctrl-C ends it.\n");
  }
  std::fflush(stdout);
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
  AddJsonOption(command, &arguments->json);
  AddRequired(command, "folder", &arguments->folder, "The folder to show, with those below", "FOLDER").FileNames();
  command.SetFooter(
      "Prints the address to open. Only this machine reaches it, and only who knows the address, which is another one\n"
      "each time: it shows everything in the folder. Ctrl-C ends it.\n\n"
      "Example:\n  qvthumbs serve ~/images");
  command.SetWork([arguments] { Serve(*arguments); });
}

}  // namespace qvhost
