// The server's own checks, asked over HTTP.
#include "preview/http/preview_server.h"

#include <gtest/gtest.h>
#include <httplib.h>

#include <thread>

#include "support/user_error.h"
#include "tests/preview/raw_connection.h"

namespace kalvetra {
namespace {

// A server on a port of its own, for as long as the test runs.
class ServerTest : public ::testing::Test {
 protected:
  explicit ServerTest(const ServerLimits& limits = {})
      : server_(routes(), 0, limits), base_(server_.address().substr(server_.address().find('/', 8))) {
    running_ = std::thread([this] { server_.run(stop_); });
  }
  ~ServerTest() override {
    stop_ = true;
    running_.join();
  }

  static Routes routes() {
    Routes routes;
    routes.post("api/echo", [](const Request& request) {
      Answer answer;
      answer.body = request.body;
      return answer;
    });
    routes.remove("api/gone", [](const Request&) { return Answer(); });
    routes.get("api/refuse", [](const Request&) -> Answer { throw UserError("no; ask better"); });
    routes.get("api/late", [](const Request&) -> Answer { throw Conflict("too late"); });
    routes.get("api/throw", [](const Request&) -> Answer { throw std::out_of_range("index"); });
    return routes;
  }
  using Connections = std::vector<std::unique_ptr<test::RawConnection>>;
  std::unique_ptr<test::RawConnection> connect() const { return std::make_unique<test::RawConnection>(server_.port()); }
  // What follows a request's path, as far as every request needs it.
  std::string head() const { return " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(server_.port()) + "\r\n"; }
  httplib::Client client() const { return httplib::Client("127.0.0.1", server_.port()); }

  std::atomic<bool> stop_{false};
  PreviewServer server_;
  std::string base_;  // "/token/"
  std::thread running_;
};

constexpr std::chrono::seconds kForever{600}, kSecond{1};

struct PatientServerTest : ServerTest {
  PatientServerTest() : ServerTest({kForever, kForever, kForever}) {}
};
struct HastyServerTest : ServerTest {
  HastyServerTest() : ServerTest({kSecond, kSecond, kSecond, 4}) {}
};

TEST_F(ServerTest, ServesThePageWithStrictHeaders) {
  const auto page = client().Get(base_);
  ASSERT_TRUE(page);
  EXPECT_EQ(page->status, 200);
  EXPECT_NE(page->body.find("<title>Kalvetra"), std::string::npos);
  EXPECT_EQ(page->get_header_value("Content-Type"), "text/html; charset=utf-8");
  EXPECT_EQ(page->get_header_value("Content-Security-Policy").rfind("default-src 'self'", 0), 0U);
  EXPECT_EQ(page->get_header_value("Cache-Control"), "no-store");
  EXPECT_EQ(page->get_header_value("X-Content-Type-Options"), "nosniff");
  EXPECT_EQ(page->get_header_value("Referrer-Policy"), "no-referrer");
}

TEST_F(ServerTest, RefusesWrongTokensAndPaths) {
  std::string wrong = base_;
  wrong[1] = wrong[1] == '0' ? '1' : '0';
  for (const std::string& path :
       {std::string("/"), wrong, wrong + "api/echo", base_.substr(0, base_.size() - 1), base_.substr(0, 8) + "/",
        base_ + "api/none", base_ + "../../etc/passwd", base_ + "%2e%2e/CMakeLists.txt", std::string("//api/echo")}) {
    const auto answer = client().Get(path);
    ASSERT_TRUE(answer) << path;
    EXPECT_EQ(answer->status, 404) << path;
    EXPECT_NE(answer->body.find("\"error\""), std::string::npos) << path;
    EXPECT_EQ(answer->get_header_value("Cache-Control"), "no-store") << path;
  }
  EXPECT_EQ(client().Get(base_ + "api/echo")->status, 404) << "only POST is answered there";
  EXPECT_EQ(client().Put(base_ + "api/echo", "x", "text/plain")->status, 404);
}

TEST_F(ServerTest, RefusesForeignHostsAndOrigins) {
  const std::string own = "127.0.0.1:" + std::to_string(server_.port());
  const auto status = [&](const httplib::Headers& headers) {
    const auto answer = client().Post(base_ + "api/echo", headers, "x", "text/plain");
    return answer ? answer->status : -1;
  };
  EXPECT_EQ(status({}), 200);
  EXPECT_EQ(status({{"Origin", "http://" + own}}), 200);
  EXPECT_EQ(status({{"Origin", "http://evil.example"}}), 403);
  EXPECT_EQ(status({{"Origin", "null"}}), 403);
  EXPECT_EQ(status({{"Origin", "https://" + own}}), 403);
  EXPECT_EQ(status({{"Host", "evil.example"}}), 403);
  EXPECT_EQ(status({{"Host", "127.0.0.1:1"}}), 403);
  EXPECT_EQ(status({{"Host", "evil.example:" + std::to_string(server_.port())}}), 403);
}

TEST_F(ServerTest, AnswersFailuresWithSentences) {
  const auto expect = [&](const std::string& path, int status, const std::string& body) {
    const auto answer = client().Get(base_ + path);
    ASSERT_TRUE(answer) << path;
    EXPECT_EQ(answer->status, status) << path;
    EXPECT_EQ(answer->body, body);
  };
  expect("api/refuse", 400, R"({"error":"no; ask better"})");
  expect("api/late", 409, R"({"error":"too late"})");
  expect("api/throw", 500, R"({"error":"the request failed: index"})");
}

TEST_F(ServerTest, BoundsBodies) {
  const std::string largest(PreviewServer::kLargestBody, 'x');
  EXPECT_EQ(client().Post(base_ + "api/echo", largest, "text/plain")->body, largest);
  const auto answer = client().Post(base_ + "api/echo", largest + "x", "text/plain");
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->status, 413);
  EXPECT_EQ(answer->body, R"({"error":"the request is larger than 1 MiB"})");
}

// Such bodies have no end that could be looked at beforehand.
TEST_F(ServerTest, RefusesBodiesWithoutALength) {
  const auto endless = [](std::size_t, httplib::DataSink& sink) {
    const std::string piece(1 << 16, 'x');
    return sink.write(piece.data(), piece.size());
  };
  httplib::Client flood = client();
  const auto flooded = flood.Post(base_ + "api/echo", endless, "text/plain");
  EXPECT_TRUE(!flooded || flooded->status == 411);
  const auto chunked = client().Post(
      base_ + "api/echo",
      [](std::size_t, httplib::DataSink& sink) {
        sink.write("x", 1);
        sink.done();
        return true;
      },
      "text/plain");
  EXPECT_TRUE(!chunked || chunked->status == 411);  // the connection may be gone before the answer is read
  EXPECT_EQ(200, client().Post(base_ + "api/echo", "x", "text/plain")->status);
}

TEST_F(ServerTest, AnswersWhatIsNoRequest) {
  const std::string longPath = base_ + std::string(9000, 'x');
  EXPECT_EQ(414, client().Get(longPath)->status);
  for (const std::string method : {"BREW", "OPTIONS", "PATCH"}) {
    httplib::Request request;
    request.method = method;
    request.path = base_ + "api/echo";
    const auto answer = client().send(request);
    ASSERT_TRUE(answer) << method;
    EXPECT_TRUE(answer->status == 400 || answer->status == 404) << answer->status;
    EXPECT_NE(std::string::npos, answer->body.find("\"error\""));
  }
}

TEST_F(PatientServerTest, RefusesByTheHeadAlone) {
  const std::string host = "Host: 127.0.0.1:" + std::to_string(server_.port()) + "\r\n";
  const std::string length = "Content-Length: 1000000\r\n";
  const struct {
    std::string head, status;
  } cases[] = {{"POST " + base_ + "api/echo HTTP/1.1\r\nHost: evil.example\r\n" + length, "403"},
               {"GET " + base_ + " HTTP/1.1\r\n" + host + "Host: evil.example\r\n", "403"},
               {"GET " + base_ + " HTTP/1.1\r\n" + host + host, "403"},
               {"POST /0123/api/echo HTTP/1.1\r\n" + host + length, "404"},
               {"PUT " + base_ + "api/echo HTTP/1.1\r\n" + host + length, "404"},
               {"POST " + base_ + "api/echo HTTP/1.1\r\n" + host + length + "Content-Encoding: gzip\r\n", "415"},
               {"POST " + base_ + "api/echo HTTP/1.1\r\n" + host + "Transfer-Encoding: chunked\r\n", "411"},
               {"POST " + base_ + "api/echo HTTP/1.1\r\n" + host, "411"},
               {"POST " + base_ + "api/echo HTTP/1.1\r\n" + host + "Content-Length: -1\r\n", "400"},
               {"POST " + base_ + "api/echo HTTP/1.1\r\n" + host + length + "Content-Length: 1\r\n", "400"}};
  for (const auto& c : cases) {
    test::RawConnection connection(server_.port());
    connection.send(c.head + "\r\n");
    EXPECT_EQ("HTTP/1.1 " + c.status, connection.receive(12)) << c.head;  // though no body ever comes
    EXPECT_TRUE(connection.isClosedWithin(std::chrono::seconds(20))) << c.head;
  }
}

TEST_F(PatientServerTest, AnswersADeletionWithoutALength) {
  const auto connection = connect();
  connection->send("DELETE " + base_ + "api/gone" + head() + "\r\n");
  EXPECT_EQ("HTTP/1.1 200", connection->receive(12));
}

// A range beyond the end must not send what lies after the answer in memory.
TEST_F(ServerTest, SendsNoPartsOfAnswers) {
  for (const std::string range : {"bytes=0-99999", "bytes=5000-9000", "bytes=-5", "bytes=0-1,2-3"}) {
    for (const std::string& path : {std::string("/"), base_}) {
      const auto refused = client().Get(path, httplib::Headers{{"Range", range}});
      ASSERT_TRUE(refused) << range;
      EXPECT_GE(refused->status, 400) << range;
      EXPECT_EQ("", refused->body) << range;
    }
  }
  const auto longest = client().Get("/", httplib::Headers{{"Range", "bytes=0-" + std::string(15000, '1')}});
  EXPECT_TRUE(longest && longest->status >= 400);
  EXPECT_EQ(200, client().Get(base_)->status);
}

TEST_F(PatientServerTest, AnswersAndEndsBesideConnectionsThatWait) {
  const std::string post = "POST " + base_ + "api/echo" + head() + "Content-Length: 1000\r\n\r\n{";
  Connections waiting;
  for (int i = 0; i < 15; ++i) {
    for (const std::string& begun : {std::string(), std::string("GET / HTTP/1.1\r\nX: "), post}) {
      waiting.push_back(connect());
      waiting.back()->send(begun);
    }
  }
  const auto page = client().Get(base_);
  ASSERT_TRUE(page);
  EXPECT_EQ(200, page->status);
  for (const auto& connection : waiting) EXPECT_TRUE(connection->isSilent());
  std::atomic<bool> ended{false};
  std::thread dripping([&] {
    while (!ended && waiting.back()->send("x")) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  });
  const auto begun = std::chrono::steady_clock::now();
  stop_ = true;
  running_.join();
  EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(5));
  ended = true;
  dripping.join();
  running_ = std::thread([] {});
}

TEST_F(HastyServerTest, ClosesWhatIsLateAndServesThoseAfterIt) {
  const std::string post = "POST " + base_ + "api/echo" + head() + "Content-Length: 9\r\n\r\n{";
  Connections late;
  for (int i = 0; i < 3; ++i) {  // together more than there are workers
    for (const std::string& begun : {std::string(), std::string("GET / HT"), post}) {
      late.push_back(connect());
      late.back()->send(begun);
    }
  }
  httplib::Client patient = client();
  patient.set_read_timeout(60);
  const auto page = patient.Get(base_);
  ASSERT_TRUE(page);
  EXPECT_EQ(200, page->status);
  for (const auto& connection : late) EXPECT_TRUE(connection->isClosedWithin(std::chrono::seconds(20)));
}

TEST_F(ServerTest, TakesABodyThatComesInPieces) {
  const auto polite = connect();
  polite->send("POST " + base_ + "api/echo" + head() + "Content-Length: 5\r\nExpect: 100-continue\r\n\r\n");
  EXPECT_EQ("HTTP/1.1 100 Continue\r\n\r\n", polite->receiveTo("\r\n\r\n"));
  polite->send("he");
  polite->send("llo");
  EXPECT_TRUE(polite->receiveTo("\r\n\r\nhello").starts_with("HTTP/1.1 200"));
}

TEST_F(ServerTest, KnowsPortsThatAreTaken) { EXPECT_THROW(PreviewServer(Routes(), server_.port()), UserError); }

}  // namespace
}  // namespace kalvetra
