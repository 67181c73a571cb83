#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>
#include <thread>

#include "tests/host/support/http.h"
#include "tests/host/support/pictures.h"
#include "tests/host/support/program.h"
#include "tests/support/file_bytes.h"

namespace {

using namespace qvtest;

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class ServeTest : public testing::Test {
 protected:
  ServeTest() : m_images(m_program.Folder().MakeFolder("images")) {
    m_program.Folder().MakeFile("secret.png", "outside");
    m_program.Folder().MakeFile("outside/secret.png", "outside");
    m_program.Folder().MakeFolder("images/below");
    WritePng(m_images + "/a.png", 60, 40, kRed);
    WritePng(m_images + "/below/b.png", 60, 40, kGreen);
    WriteStack(m_images + "/stack.ome.tif", {.times = 2, .planes = 3, .channels = 2});
    std::ofstream(m_images + "/broken.png") << "no image";
    std::ofstream(m_images + "/.hidden.png") << "hidden";
  }
  ~ServeTest() override { End(); }

  // The address that the program prints, once it listens.
  CHttpClient Start(std::vector<std::string> more = {}) {
    more.insert(more.begin(), {"serve", m_images, "--db", m_program.Database()});
    m_server.emplace(m_program, more);
    return CHttpClient(m_server->FirstLine());
  }
  SRunResult End() {
    if (!m_server) return {};
    m_server->Signal(SIGTERM);
    SRunResult result = m_server->Wait();
    m_server.reset();
    return result;
  }
  static std::string Wish(const std::string& client, const std::vector<std::string>& visible) {
    return json{{"client", client}, {"visible", visible}, {"next", json::array()}}.dump();
  }
  // Of so many thumbnails, by name.
  static std::map<std::string, json> Events(CEventReader& reader, std::size_t count) {
    std::map<std::string, json> events;
    while (events.size() < count) {
      const std::string data = reader.Next();
      if (data.empty()) break;
      const json event = json::parse(data);
      events[event["path"]] = event;
    }
    return events;
  }

  CProgram m_program;
  const std::string m_images;
  std::optional<CProgram::CProcess> m_server;
};

TEST_F(ServeTest, ListsAFolderAndThoseBelow) {
  const CHttpClient client = Start();
  const json list = json::parse(client.Get("list?folder=").body);
  std::set<std::string> names;
  for (const json& file : list["files"]) names.insert(file[0]);
  EXPECT_THAT(names, ElementsAre("a.png", "broken.png", "stack.ome.tif"));
  EXPECT_EQ(list["folders"], json::array({"below"}));
  EXPECT_EQ(json::parse(client.Get("list?folder=below").body)["files"][0][0], "b.png");
}

TEST_F(ServeTest, PushesWhatIsOnTheScreenAsSoonAsItIsMade) {
  const CHttpClient client = Start();
  CEventReader events(client);
  const std::string number = events.Next();
  EXPECT_EQ(client.Get("thumbnail?path=a.png").status, 404);
  ASSERT_EQ(client.Post("want", Wish(number, {"a.png", "below/b.png", "broken.png"})).status, 200);
  const std::map<std::string, json> told = Events(events, 3);
  EXPECT_EQ(told.at("a.png")["state"], "ready");
  EXPECT_EQ(told.at("a.png")["card"]["brief"][0], "60 × 40 pixels");
  EXPECT_EQ(told.at("below/b.png")["state"], "ready");
  EXPECT_EQ(told.at("broken.png")["state"], "failed");
  m_program.Folder().MakeFile("a.jpg", client.Get("thumbnail?path=a.png").body);
  EXPECT_EQ(DecodeJpeg(m_program.Folder().Path("a.jpg")).height, 180u);
  EXPECT_EQ(json::parse(client.Get("card?path=broken.png").body)["reason"], "The file is a text; not supported");
}

TEST_F(ServeTest, TellsEveryClientAndForgetsThoseThatLeft) {
  const CHttpClient client = Start();
  CEventReader first(client);
  const std::string number = first.Next();
  {
    CEventReader second(client);
    const std::string other = second.Next();
    client.Post("want", Wish(other, {"a.png"}));
    EXPECT_EQ(Events(second, 1).size(), 1u);
  }
  client.Post("want", Wish(number, {"a.png"}));
  EXPECT_EQ(Events(first, 1).size(), 1u);
  EXPECT_EQ(client.Post("want", Wish("77", {"a.png"})).status, 410);
}

TEST_F(ServeTest, ShowsChosenPlanesLarger) {
  const CHttpClient client = Start();
  m_program.Folder().MakeFile("large.jpg", client.Get("picture?path=stack.ome.tif&side=2000").body);
  EXPECT_EQ(DecodeJpeg(m_program.Folder().Path("large.jpg")).width, 64u);
  const std::string middle = client.Get("picture?path=stack.ome.tif").body;
  EXPECT_EQ(client.Get("picture?path=stack.ome.tif&z=2&t=1").body, middle);
  EXPECT_NE(client.Get("picture?path=stack.ome.tif&c=2").body, middle);
  EXPECT_EQ(client.Get("picture?path=stack.ome.tif&c=x").status, 400);
  EXPECT_EQ(client.Get("picture?path=broken.png").status, 422);
  // The thumbnails are those of ever.
  CEventReader events(client);
  client.Post("want", Wish(events.Next(), {"stack.ome.tif"}));
  EXPECT_EQ(Events(events, 1).at("stack.ome.tif")["card"]["facts"]["z"], 3);
}

TEST_F(ServeTest, RefusesWhoeverDoesNotKnowTheAddress) {
  const CHttpClient client = Start();
  EXPECT_EQ(client.Get("").status, 200);
  for (const char* path : {"/", "/list", "/0123456789abcdef0123456789abcdef/", "//"}) {
    const SHttpAnswer answer = client.Get(path);
    EXPECT_EQ(answer.status, 403) << path;
    EXPECT_THAT(answer.body, Not(HasSubstr("png")));
  }
  EXPECT_EQ(client.Get(client.Prefix().substr(0, client.Prefix().size() - 2) + "/").status, 403);
}

TEST_F(ServeTest, RefusesOtherHostsAndOrigins) {
  const CHttpClient client = Start();
  const std::string port = std::to_string(client.Port());
  const auto statusOf = [&](const char* header, const std::string& value) {
    return client.Get("list", {{header, value}}).status;
  };
  EXPECT_EQ(statusOf("Host", "localhost:" + port), 200);
  for (const std::string& host : {std::string("evil.example"), "evil.example:" + port, std::string("127.0.0.1"),
                                  "127.0.0.1:" + port + ".evil.example", std::string("127.0.0.1:1"), std::string()}) {
    EXPECT_EQ(statusOf("Host", host), 403) << host;
  }
  EXPECT_EQ(statusOf("Origin", "http://127.0.0.1:" + port), 200);
  for (const std::string& origin : {std::string("http://evil.example"), std::string("null"),
                                    "https://127.0.0.1:" + port, "http://127.0.0.1:" + port + ".evil.example"}) {
    EXPECT_EQ(statusOf("Origin", origin), 403) << origin;
    EXPECT_EQ(client.Post("want", "{}", {{"Origin", origin}}).status, 403) << origin;
  }
}

TEST_F(ServeTest, ReachesNothingOutsideTheFolder) {
  const std::string outside = m_program.Folder().Path("outside");
  std::filesystem::create_symlink(outside + "/secret.png", m_images + "/link.png");
  std::filesystem::create_directory_symlink(outside, m_images + "/linked");
  const CHttpClient client = Start();
  for (const std::string& name :
       {std::string("../secret.png"), std::string("below/../../secret.png"), std::string("..%2Fsecret.png"),
        std::string("%2e%2e/secret.png"), "/" + outside + "/secret.png", outside + "/secret.png",
        std::string("link.png"), std::string("linked/secret.png"), std::string(".hidden.png"), std::string("./a.png"),
        std::string("below//b.png"), std::string("a.png%00"), std::string("\\x2e\\x2e/secret.png")}) {
    for (const char* what : {"card", "thumbnail", "picture"}) {
      EXPECT_EQ(client.Get(std::string(what).append("?path=").append(name)).status, 404) << what << " " << name;
    }
    EXPECT_EQ(client.Get("list?folder=" + name).status, 404) << name;
  }
  EXPECT_EQ(client.Get("list?folder=linked").status, 404);
  EXPECT_EQ(client.Get("list?folder=..").status, 404);
  EXPECT_THAT(client.Get("list").body, Not(HasSubstr("link")));
}

TEST_F(ServeTest, FindsInTheWholeTreeAndNothingOutsideOfIt) {
  WritePng(m_program.Folder().Path("outside/private.png"), 60, 40, kRed);
  WritePng(m_images + "/.shown.png", 60, 40, kRed);
  std::filesystem::create_symlink(m_program.Folder().Path("outside"), m_images + "/link");
  const std::vector<std::string> files = {m_images + "/a.png", m_images + "/below/b.png", m_images + "/.shown.png",
                                          m_images + "/link/private.png",
                                          m_program.Folder().Path("outside/private.png")};
  for (const std::string& file : files) EXPECT_EQ(m_program.RunWithDatabase({"make", file}).status, 0);
  const CHttpClient client = Start();
  const auto find = [&client](const std::string& words) {
    const json answer = json::parse(client.Get("search?words=" + words).body);
    EXPECT_EQ(answer["more"], false);
    std::set<std::string> names;
    for (const json& file : answer["files"]) names.insert(file["path"]);
    return names;
  };
  EXPECT_THAT(find("png"), ElementsAre("a.png", "below/b.png"));
  EXPECT_THAT(find("BELOW%20B."), ElementsAre("below/b.png"));
  EXPECT_THAT(find("%22below/b%22"), ElementsAre("below/b.png"));
  EXPECT_THAT(find("private"), IsEmpty());
  EXPECT_THAT(find(m_images.substr(1, 3)), IsEmpty());
  EXPECT_THAT(find(""), IsEmpty());
  EXPECT_THAT(find("%00%22*%27%20-"), IsEmpty());
  EXPECT_EQ(client.Get("/search?words=png").status, 403);
}

TEST_F(ServeTest, FindsWhatItHasJustMade) {
  const CHttpClient client = Start();
  EXPECT_EQ(json::parse(client.Get("search?words=stack").body)["files"].size(), 0u);
  CEventReader events(client);
  client.Post("want", Wish(events.Next(), {"stack.ome.tif"}));
  EXPECT_EQ(Events(events, 1).size(), 1u);
  const json files = json::parse(client.Get("search?words=stack").body)["files"];
  ASSERT_EQ(files.size(), 1u);
  EXPECT_EQ(files[0]["facts"], json({{"channels", 2}, {"t", 2}, {"z", 3}}));
}

TEST_F(ServeTest, HostileRequestsLeaveItAnswering) {
  const CHttpClient client = Start();
  const std::string host = std::string("Host: ").append(client.Host()).append("\r\n");
  for (const std::string& bytes :
       {std::string("\0\0\0\0", 4), std::string("GET\r\n\r\n"), std::string("GET / HTTP/9.9\r\n\r\n"),
        std::string("GET /").append(100000, 'a').append(" HTTP/1.1\r\n").append(host).append("\r\n"),
        std::string("GET / HTTP/1.1\r\n").append(100000, 'b').append("\r\n\r\n"),
        "POST " + client.Prefix() + "want HTTP/1.1\r\n" + host + "Content-Length: 99999999999\r\n\r\n",
        "POST " + client.Prefix() + "want HTTP/1.1\r\n" + host + "Content-Length: -1\r\n\r\n",
        "DELETE " + client.Prefix() + " HTTP/1.1\r\n" + host + "Connection: close\r\n\r\n"}) {
    EXPECT_NE(client.Send(bytes).status, 200) << bytes.substr(0, 60);
  }
  for (const char* body : {"", "{", "[]", "{\"client\":\"x\",\"visible\":[],\"next\":[]}",
                           "{\"client\":\"1\",\"visible\":[1],\"next\":{}}", "{\"client\":\"-1\"}"}) {
    const int status = client.Post("want", body).status;
    EXPECT_TRUE(status == 400 || status == 410) << body << " " << status;
  }
  EXPECT_EQ(client.Get("list").status, 200);
}

TEST_F(ServeTest, ManyClientsAreServedAtOnce) {
  const CHttpClient client = Start();
  std::vector<std::unique_ptr<CEventReader>> readers;
  for (int i = 0; i < 10; ++i) {
    readers.push_back(std::make_unique<CEventReader>(client));
    client.Post("want", Wish(readers.back()->Next(), {"a.png", "below/b.png"}));
  }
  for (const auto& reader : readers) EXPECT_EQ(Events(*reader, 2).size(), 2u);
}

TEST_F(ServeTest, EndsCleanlyWhenItIsAskedToWhileClientsListen) {
  const CHttpClient client = Start();
  const CEventReader events(client);
  const SRunResult end = End();
  EXPECT_EQ(end.status, 0) << end.err;
  EXPECT_THAT(end.err, Not(HasSubstr("error")));
}

// A browser that leaves behind what it was opened with.
std::string FakeBrowserFolder(const CTempFolder& folder) {
  const std::string programs = folder.MakeFolder("programs");
  const std::string script = folder.MakeFile("programs/xdg-open",
                                             "#!/bin/sh\n"
                                             "stat -c %a \"$1\" > \"$HOME/mode\"\n"
                                             "cat \"$1\" > \"$HOME/page\"\n"
                                             "echo \"$*\" > \"$HOME/new\" && mv \"$HOME/new\" \"$HOME/arguments\"\n");
  std::filesystem::permissions(script, std::filesystem::perms::owner_all);
  return programs;
}

TEST_F(ServeTest, OpensTheBrowserWithAPageThatKeepsTheAddressFromOtherUsers) {
  m_program.SetEnvironment("PATH=" + FakeBrowserFolder(m_program.Folder()) + ":" + std::getenv("PATH"));
  m_program.SetEnvironment("XDG_RUNTIME_DIR=" + m_program.Folder().MakeFolder("runtime"));
  const CHttpClient client = Start({"--open"});
  const std::string seen = m_program.Folder().Path("home/arguments");
  for (int i = 0; i < 1000 && !std::filesystem::exists(seen); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  const std::string arguments = ReadTextFile(seen);
  EXPECT_THAT(arguments, HasSubstr(m_program.Folder().Path("runtime/qvthumbs-")));
  EXPECT_THAT(arguments, Not(HasSubstr(client.Prefix())));
  EXPECT_THAT(ReadTextFile(m_program.Folder().Path("home/page")), HasSubstr("url=http://127.0.0.1:"));
  EXPECT_THAT(ReadTextFile(m_program.Folder().Path("home/page")), HasSubstr(client.Prefix()));
  EXPECT_EQ(ReadTextFile(m_program.Folder().Path("home/mode")), "600\n");
  const SRunResult end = End();
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(end.err, "The browser shows it; Ctrl-C ends it.\n");
  EXPECT_TRUE(std::filesystem::is_empty(m_program.Folder().Path("runtime")));
}

TEST_F(ServeTest, AClosedTerminalEndsItLikeCtrlC) {
  m_program.SetEnvironment("PATH=" + FakeBrowserFolder(m_program.Folder()) + ":" + std::getenv("PATH"));
  m_program.SetEnvironment("XDG_RUNTIME_DIR=" + m_program.Folder().MakeFolder("runtime"));
  Start({"--open"});
  m_server->Signal(SIGHUP);
  EXPECT_EQ(m_server->Wait().status, 0);
  m_server.reset();
  EXPECT_TRUE(std::filesystem::is_empty(m_program.Folder().Path("runtime")));
}

TEST_F(ServeTest, StartedToOutliveItsTerminalItDoes) {
  m_server.emplace(m_program, std::vector<std::string>{"serve", m_images, "--db", m_program.Database()}, std::string(),
                   std::vector<std::string>{"sh", "-c", "trap '' HUP; exec \"$0\" \"$@\""});
  const CHttpClient client(m_server->FirstLine());
  m_server->Signal(SIGHUP);
  EXPECT_EQ(client.Get("list").status, 200);
  EXPECT_EQ(End().status, 0);
}

TEST_F(ServeTest, WithoutABrowserItSaysSoAndGoesOn) {
  m_program.SetEnvironment("PATH=" + m_program.Folder().MakeFolder("empty"));
  const CHttpClient client = Start({"--open"});
  EXPECT_EQ(client.Get("list").status, 200);
  const SRunResult end = End();
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.err, HasSubstr("qvthumbs: no browser was opened: there is no xdg-open (package xdg-utils)\n"
                                 "Open this address in a browser on this machine"));
}

TEST_F(ServeTest, WithoutAFolderItShowsTheCurrentOne) {
  CProgram::CProcess server(m_program, {"serve", "--db", m_program.Database()}, {},
                            {"sh", "-c", "cd '" + m_images + "' && exec \"$0\" \"$@\""});
  const CHttpClient client(server.FirstLine());
  EXPECT_EQ(json::parse(client.Get("list?folder=").body)["folders"], json::array({"below"}));
  EXPECT_THAT(client.Get("").body, HasSubstr("<title>images"));
  server.Signal(SIGTERM);
  EXPECT_EQ(server.Wait().status, 0);
}

TEST_F(ServeTest, AFolderThatIsNotThereAndAPortThatIsTakenAreAnswered) {
  const SRunResult missing = m_program.RunWithDatabase({"serve", m_images + "/nowhere"});
  EXPECT_EQ(missing.status, 2);
  EXPECT_THAT(missing.err, HasSubstr("No such file or directory"));
  const CHttpClient client = Start();
  const SRunResult taken = m_program.RunWithDatabase({"serve", m_images, "--port", std::to_string(client.Port())});
  EXPECT_EQ(taken.status, 2);
  EXPECT_THAT(taken.err, HasSubstr("choose another --port"));
}

}  // namespace
