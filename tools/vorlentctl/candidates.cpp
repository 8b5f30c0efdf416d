#include "candidates.h"

#include <cjson/cJSON.h>

#include <memory>

#include "address.h"
#include "fingerprint.h"
#include "own_text.h"
#include "platform_onboarding.h"

namespace ctl {

namespace {

struct DeleteJson {
  void operator()(cJSON* json) const { cJSON_Delete(json); }
};

const char* text_of(const cJSON* object, const char* name) {
  const char* text = cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(object, name));
  return text == nullptr ? "" : text;
}

}  // namespace

std::vector<Candidate> read_candidates() {
  std::vector<Candidate> out;
  const std::unique_ptr<cJSON, DeleteJson> document(cJSON_Parse(read_own(kCandidateFile).c_str()));
  const cJSON* entry = nullptr;
  cJSON_ArrayForEach(entry, cJSON_GetObjectItemCaseSensitive(document.get(), "candidates")) {
    const std::string address = as_address(text_of(entry, "mac"));
    if (!address.empty()) {
      out.push_back({address, fingerprint(text_of(entry, "key")),
                     check_mac_in_candidate_satellite(address.c_str()) != 0});
    }
  }
  return out;
}

}  // namespace ctl
