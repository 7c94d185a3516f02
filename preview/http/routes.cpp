#include "preview/http/routes.h"

#include <new>
#include <nlohmann/json.hpp>

#include "support/interrupted.h"
#include "support/user_error.h"

namespace kalvetra {

Answer errorAnswer(int status, const std::string& sentence) {
  const nlohmann::json body{{"error", sentence}};
  Answer answer;
  answer.status = status;
  answer.body = body.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);  // sentences may quote any bytes
  return answer;
}

Answer Routes::answer(const std::string& method, const std::string& path, const Request& request) const {
  const auto found = handlers_.find({path, method});
  if (found == handlers_.end()) return errorAnswer(404, "there is nothing at this address");
  try {
    return found->second(request);
  } catch (const NotFound& error) {
    return errorAnswer(404, error.what());
  } catch (const Conflict& error) {
    return errorAnswer(409, error.what());
  } catch (const UserError& error) {
    return errorAnswer(400, error.what());
  } catch (const Interrupted&) {
    return errorAnswer(503, "the program is ending");
  } catch (const std::bad_alloc&) {
    return errorAnswer(500, "out of memory; close other programs, or take a smaller clip");
  } catch (const std::exception& error) {
    return errorAnswer(500, std::string("the request failed: ") + error.what());
  }
}

}  // namespace kalvetra
