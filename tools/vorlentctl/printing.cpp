#include "printing.h"

#include <cjson/cJSON.h>

#include <cstdio>

namespace ctl {

namespace {

// Prints and frees `document`.
bool print_json(cJSON* document) {
  char* text = cJSON_Print(document);
  const bool printed = text != nullptr && puts(text) >= 0;
  cJSON_free(text);
  cJSON_Delete(document);
  return printed;
}

cJSON* candidates_json(const std::vector<Candidate>& candidates) {
  cJSON* list = cJSON_CreateArray();
  for (const Candidate& candidate : candidates) {
    cJSON* entry = cJSON_CreateObject();
    cJSON_AddStringToObject(entry, "address", candidate.address.c_str());
    cJSON_AddStringToObject(entry, "fingerprint", candidate.fingerprint.c_str());
    cJSON_AddBoolToObject(entry, "approved", candidate.approved);
    cJSON_AddItemToArray(list, entry);
  }
  return list;
}

void add_seconds(cJSON* object, const Status& status) {
  if (status.seconds_left) {
    cJSON_AddNumberToObject(object, "seconds_left", static_cast<double>(*status.seconds_left));
  }
}

bool print_status_json(const Status& status) {
  cJSON* out = cJSON_CreateObject();
  cJSON_AddBoolToObject(out, "running", status.daemon.has_value());
  cJSON_AddNumberToObject(out, "mode", status.mode.value_or(-1));
  cJSON_AddStringToObject(out, "mode_in_words", mode_in_words(status.mode));
  cJSON_AddBoolToObject(out, "window_open", status.window_open);
  add_seconds(out, status);
  cJSON* list = cJSON_AddArrayToObject(out, "stations");
  for (const Station& station : status.stations) {
    cJSON* entry = cJSON_CreateObject();
    cJSON_AddStringToObject(entry, "address", station.address.c_str());
    cJSON_AddNumberToObject(entry, "stage", station.stage);
    cJSON_AddStringToObject(entry, "stage_in_words", stage_in_words(station.stage));
    cJSON_AddItemToArray(list, entry);
  }
  cJSON_AddStringToObject(out, "waits_for", status.waits_for.c_str());
  cJSON_AddStringToObject(out, "fingerprint", status.fingerprint.c_str());
  return print_json(out);
}

void print_status_text(const Status& status) {
  printf("mode:      %s\n", mode_in_words(status.mode));
  if (is_base(status.mode)) {
    const std::string left =
        status.seconds_left ? ", " + std::to_string(*status.seconds_left) + " s left" : "";
    printf("window:    %s%s\n", status.window_open ? "open" : "closed", left.c_str());
    printf("stations:  %s\n", status.stations.empty() ? "none" : "");
    for (const Station& station : status.stations) {
      printf("  %s  %s\n", station.address.c_str(), stage_in_words(station.stage));
    }
  }
  printf("waits for: %s\n", status.waits_for.empty() ? "nothing" : status.waits_for.c_str());
  if (!status.fingerprint.empty()) {
    printf("own key:   %s\n", status.fingerprint.c_str());
  }
}

}  // namespace

bool print_status(const Status& status, bool json) {
  if (json) {
    return print_status_json(status);
  }
  print_status_text(status);
  return true;
}

bool print_candidates(const std::vector<Candidate>& candidates, bool json) {
  if (json) {
    return print_json(candidates_json(candidates));
  }
  if (candidates.empty()) {
    puts("No unit is ready for its credentials.");
    return true;
  }
  printf("%-17s  %-50s  %s\n", "ADDRESS", "KEY", "APPROVED");
  for (const Candidate& candidate : candidates) {
    printf("%-17s  %-50s  %s\n", candidate.address.c_str(), candidate.fingerprint.c_str(),
           candidate.approved ? "yes" : "no");
  }
  return true;
}

}  // namespace ctl
