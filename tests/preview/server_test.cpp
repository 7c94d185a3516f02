// The server's own checks, asked over HTTP.
#include "preview/http/preview_server.h"

#include <gtest/gtest.h>
#include <httplib.h>

#include <thread>

#include "preview/http/connection.h"
#include "tests/preview/raw_connection.h"

namespace kalvetra {
namespace {

// A server on a port of its own, for as long as the test runs.
class ServerTest : public ::testing::Test {
 protected:
  explicit ServerTest(const ConnectionLimits& limits = {})
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
    routes.get("api/late", [](const Request&) -> Answer { throw Refusal(409, "too late"); });
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

constexpr std::chrono::minutes kForever{10};
constexpr std::chrono::milliseconds kMoment{2};

struct PatientServerTest : ServerTest {
  PatientServerTest() : ServerTest({kForever, kForever, kForever, kForever, 200}) {}
};
struct CrowdedServerTest : ServerTest {
  CrowdedServerTest() : ServerTest({kForever, kForever, kForever, kForever, 8}) {}
};
struct HastyServerTest : ServerTest {
  HastyServerTest() : ServerTest({25 * kMoment, 25 * kMoment, 25 * kMoment, 25 * kMoment}) {}
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

TEST_F(PatientServerTest, LooksAtTheHeadAloneBeforeItRefuses) {
  const std::string host = "Host: 127.0.0.1:" + std::to_string(server_.port()) + "\r\n";
  const std::string length = "Content-Length: 1000000\r\n";
  const struct {
    std::string head, status;
  } cases[] = {{"POST " + base_ + "api/echo HTTP/1.1\r\nHost: evil.example\r\n" + length, "403"},
               {"GET " + base_ + " HTTP/1.1\r\n" + host + "Host: evil.example\r\n", "403"},
               {"GET " + base_ + " HTTP/1.1\r\n" + host + host, "403"},
               {"POST /0123/api/echo HTTP/1.1\r\n" + host + length, "404"},
               {"PUT " + base_ + "api/echo HTTP/1.1\r\n" + host + length, "404"},
               {"PRI " + base_ + "api/echo HTTP/1.1\r\n" + host, "404"},
               {"POST " + base_ + "api/echo HTTP/1.1\r\n" + host + length + "Content-Encoding: gzip\r\n", "415"},
               {"DELETE " + base_ + "api/echo HTTP/1.1\r\n" + host + "Transfer-Encoding: chunked\r\n", "411"},
               {"POST " + base_ + "api/echo HTTP/1.1\r\n" + host, "411"},
               {"POST " + base_ + "api/echo HTTP/1.1\r\n" + host + "Content-Length: -1\r\n", "400"},
               {"POST " + base_ + "api/echo HTTP/1.1\r\n" + host + length + "Content-Length: 1\r\n", "400"},
               {"POST " + base_ + "api/echo HTTP/1.1\r\n" + host + "Content-Length: 99999999999\r\n", "413"}};
  for (const auto& c : cases) {
    test::RawConnection connection(server_.port());
    connection.send(c.head + "\r\n");
    EXPECT_EQ("HTTP/1.1 " + c.status, connection.receive(12)) << c.head;  // though no body ever comes
    EXPECT_TRUE(connection.isClosedWithin(std::chrono::seconds(20))) << c.head;
  }
}

TEST_F(ServerTest, AnswersADeletionWithoutALength) {
  test::RawConnection connection(server_.port());
  connection.send("DELETE " + base_ + "api/gone HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(server_.port()) +
                  "\r\n\r\n");
  EXPECT_EQ("HTTP/1.1 200", connection.receive(12));
}

TEST_F(ServerTest, EndsHeadsWithoutAnEnd) {
  for (const std::string& piece : {std::string(1000, 'x'), std::string("a:b\r\n"), "X: " + std::string(500, '1')}) {
    test::RawConnection connection(server_.port());
    connection.send("GET / HTTP/1.1\r\n");
    std::size_t sent = 0;
    while (sent < (std::size_t{64} << 20) && connection.send(piece)) sent += piece.size();
    EXPECT_LT(sent, std::size_t{16} << 20);  // what is ignored, and what the system holds
  }
  EXPECT_EQ(200, client().Get(base_)->status);
}

// A range beyond the end must not tell what lies behind the answer in memory.
TEST_F(ServerTest, SendsNothingButTheAnswer) {
  for (const std::string range : {"bytes=0-99999", "bytes=5000-9000", "bytes=-5", "bytes=0-1,2-3"}) {
    const auto refused = client().Get("/", {{"Range", range}});
    ASSERT_TRUE(refused) << range;
    EXPECT_EQ(R"({"error":"there is nothing at this address"})", refused->body) << range;
  }
  const auto longest = client().Get("/", {{"Range", "bytes=0-" + std::string(15000, '1')}});
  EXPECT_TRUE(longest && longest->status >= 400);
  EXPECT_EQ(200, client().Get(base_)->status);
}

TEST_F(PatientServerTest, WaitingCostsNoWorker) {
  const std::string post = "POST " + base_ + "api/echo" + head() + "Content-Length: 1000\r\n\r\n{";
  Connections waiting, refused;
  for (int i = 0; i < 40; ++i) {  // more than there are workers
    for (const std::string& begun : {std::string(), std::string("GET / HTTP/1.1\r\nX: "), post}) {
      waiting.push_back(connect());
      waiting.back()->send(begun);
    }
    refused.push_back(connect());  // the server waits until its answer is read
    refused.back()->send("POST /x" + head() + "Content-Length: 9\r\n\r\n");
  }
  httplib::Client patient = client();
  patient.set_read_timeout(60);
  const auto page = patient.Get(base_);
  ASSERT_TRUE(page);
  EXPECT_EQ(200, page->status);
  for (const auto& connection : waiting) EXPECT_TRUE(connection->isSilent());
  stop_ = true;
  running_.join();  // although all of them wait
  running_ = std::thread([] {});
}

TEST_F(CrowdedServerTest, DropsStrangersThatWaitLongest) {
  const auto known = connect();
  const std::string request = "POST " + base_ + "api/echo" + head() + "Content-Length: 5\r\n\r\nhello";
  known->send(request);
  EXPECT_TRUE(known->receiveTo("\r\n\r\nhello").starts_with("HTTP/1.1 200"));
  Connections waiting;
  for (int i = 0; i < 20; ++i) waiting.push_back(connect());
  for (std::size_t i = 0; i < 13; ++i) EXPECT_TRUE(waiting[i]->isClosedWithin(std::chrono::seconds(20))) << i;
  for (std::size_t i = 13; i < 20; ++i) EXPECT_TRUE(waiting[i]->isSilent()) << i;
  known->send(request);
  EXPECT_TRUE(known->receiveTo("\r\n\r\nhello").starts_with("HTTP/1.1 200"));
}

TEST_F(HastyServerTest, EndsWhatIsLate) {
  const std::string post = "POST " + base_ + "api/echo" + head() + "Content-Length: 9\r\n\r\n{";
  for (const std::string& begun : {std::string(), std::string("GET / HT"), post}) {
    const auto late = connect();
    late->send(begun);
    EXPECT_TRUE(late->isClosedWithin(std::chrono::seconds(20))) << begun;
  }
  const auto dripping = connect();
  std::size_t sent = 0;
  for (; sent < Connection::kLargestHead && dripping->send("x"); ++sent) std::this_thread::sleep_for(kMoment);
  EXPECT_LT(sent, Connection::kLargestHead);
}

TEST_F(PatientServerTest, TakesRequestsHoweverTheyCome) {
  const std::string post = "POST " + base_ + "api/echo" + head() + "Content-Length: 5\r\n";
  const auto polite = connect();
  polite->send(post + "Expect: 100-continue\r\n\r\n");
  EXPECT_EQ("HTTP/1.1 100 Continue\r\n\r\n", polite->receiveTo("\r\n\r\n"));
  polite->send("he");
  polite->send("llo");
  EXPECT_TRUE(polite->receiveTo("\r\n\r\nhello").starts_with("HTTP/1.1 200"));
  const auto eager = connect();
  eager->send(post + "\r\nfirst" + post + "\r\nother");
  EXPECT_TRUE(eager->receiveTo("\r\n\r\nfirst").starts_with("HTTP/1.1 200"));
  EXPECT_TRUE(eager->receiveTo("\r\n\r\nother").starts_with("HTTP/1.1 200"));
}

TEST_F(ServerTest, KnowsPortsThatAreTaken) { EXPECT_THROW(PreviewServer(Routes(), server_.port()), UserError); }

}  // namespace
}  // namespace kalvetra
