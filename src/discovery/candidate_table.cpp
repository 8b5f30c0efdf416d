#include "discovery/candidate_table.h"

#include <cjson/cJSON.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <span>

#include "core/bytes.h"
#include "core/log.h"
#include "core/told_failure.h"
#include "own_file.h"

CandidateTable candidate_table{};

namespace {

constexpr const char* AS_WRITE_CANDIDATE_JSON = "write_candidate_json";

constexpr const char* CANDIDATE_ASIDE = "/tmp/vexo_onborading.json.tmp";

struct DeleteDocument {
  void operator()(cJSON* document) const { cJSON_Delete(document); }
};
struct FreeText {
  void operator()(char* text) const { cJSON_free(text); }
};
using Document = std::unique_ptr<cJSON, DeleteDocument>;
using Text = std::unique_ptr<char, FreeText>;

// The rows in use of the table, or its first `count`.
std::span<const CandidateEntry> rows(const CandidateTable& table, int count) {
  return std::span(table).first(static_cast<std::size_t>(std::clamp(count, 0, CANDIDATE_CAPACITY)));
}

int slot_of(const CandidateTable& table, int count, const char* mac) {
  int slot = 0;
  for (const CandidateEntry& entry : rows(table, count)) {
    if (strncmp(entry.mac.data(), mac, entry.mac.size()) == 0) {
      return slot;
    }
    ++slot;
  }
  return -1;
}

// An item that cannot be made or added is gone afterwards, and the document is as it was.
bool add_item(cJSON* object, const char* name, cJSON* item) {
  if (item == nullptr || cJSON_AddItemToObject(object, name, item) == 0) {
    cJSON_Delete(item);
    return false;
  }
  return true;
}

// A key may be any bytes, and those outside ASCII would make the document none for strict readers.
decltype(CandidateEntry::pub_key) readable(decltype(CandidateEntry::pub_key) text) {
  std::replace_if(
      text.begin(), text.end(), [](char byte) { return (byte & 0x80) != 0; }, '?');
  return text;
}

bool add_candidate(cJSON* array, const CandidateEntry& entry) {
  Document object(cJSON_CreateObject());
  if (object == nullptr || !add_item(object.get(), "mac", cJSON_CreateString(entry.mac.data())) ||
      !add_item(object.get(), "key", cJSON_CreateString(readable(entry.pub_key).data()))) {
    return false;
  }
  return cJSON_AddItemToArray(array, object.release()) != 0;
}

// The file's text, or none when cJSON runs out of memory.
Text candidate_document(const CandidateTable& table) {
  const Document document(cJSON_CreateObject());
  if (document == nullptr) {
    return nullptr;
  }
  cJSON* candidates = cJSON_CreateArray();
  if (!add_item(document.get(), "candidates", candidates)) {
    return nullptr;
  }
  for (const CandidateEntry& entry : rows(table, context.candidate_count)) {
    if (entry.stage == CANDIDATE_READY && !add_candidate(candidates, entry)) {
      return nullptr;
    }
  }
  return Text(cJSON_Print(document.get()));
}

bool write_all(int file, ByteView text) {
  while (!text.empty()) {
    const ssize_t written = write(file, text.data(), text.size());
    if (written <= 0) {
      return false;
    }
    text = text.subspan(static_cast<std::size_t>(written));
  }
  return true;
}

// `done` of the candidate file went well, or not for the reason in errno.
void tell(const char* speaker, bool done) {
  static ToldFailure told;
  const int error = done ? 0 : errno;
  if (is_news(told, error)) {
    ONBOARD_LOG_AS(speaker, "cannot replace or remove %s: %s\n", CANDIDATE_FILE, strerror(error));
  }
}

// By way of a second file, so that readers see the old list or the new one, and nothing that stands
// at the file's place is written through. One that cannot be made is not told of.
void write_file(ByteView text) {
  const UniqueFd file = create_own_file(CANDIDATE_ASIDE, 0666);
  if (!file.open()) {
    return;
  }
  const bool replaced = write_all(file.get(), text) && rename(CANDIDATE_ASIDE, CANDIDATE_FILE) == 0;
  tell(AS_WRITE_CANDIDATE_JSON, replaced);
  if (!replaced) {
    (void)unlink(CANDIDATE_ASIDE);
  }
}

void remove_file(const char* speaker) {
  tell(speaker, unlink(CANDIDATE_FILE) == 0 || errno == ENOENT);
}

}  // namespace

int update_candidate_table(CandidateTable& table, const CandidateEntry& entry) {
  if (slot_of(table, context.candidate_count, entry.mac.data()) >= 0) {
    ONBOARD_LOG("%s already exist in the candidate list.\n", entry.mac.data());
    write_candidate_json(table);
    return 0;
  }
  if (context.candidate_count >= CANDIDATE_CAPACITY) {
    ONBOARD_LOG("Over MAX support clients!!\n");
    write_candidate_json(table);
    return -1;
  }
  table[static_cast<std::size_t>(context.candidate_count)] = entry;
  ++context.candidate_count;
  write_candidate_json(table);
  return 1;
}

int delete_node_from_candidate_table(CandidateTable& table, const char* mac) {
  const int slot = slot_of(table, context.candidate_count, mac);
  if (slot < 0) {
    ONBOARD_LOG("The sta %s inexist.\n", mac);
    return -1;
  }
  ONBOARD_LOG("Find %s in the candidate list.\n", mac);
  const auto first = table.begin() + slot;
  const auto last = table.begin() + context.candidate_count;
  ONBOARD_LOG("Remove sta %s from candidate list.\n", mac);
  std::move(first + 1, last, first);
  *(last - 1) = CandidateEntry{};
  --context.candidate_count;
  return 0;
}

int check_in_candidate_list(const CandidateTable& table, int count, const char* mac) {
  const int slot = slot_of(table, count, mac);
  if (slot < 0) {
    ONBOARD_LOG("Cannot found %s in support list.\n", mac);
  } else {
    ONBOARD_LOG("Found %s in support list.\n", mac);
  }
  return slot;
}

void dump_current_support_list() {
  for (const CandidateEntry& entry : rows(candidate_table, context.candidate_count)) {
    ONBOARD_LOG("STA: %s\nPUB_key(%d):%s\n\n", entry.mac.data(), entry.key_len,
                entry.pub_key.data());
  }
}

int write_candidate_json(const CandidateTable& table) {
  const Text text = candidate_document(table);
  if (text != nullptr) {
    onboard_log_bare(text.get(), "\n");
    write_file(as_bytes(text.get(), strlen(text.get())));
  }
  return 0;
}

void forget_earlier_candidates() {
  if (context.candidate_count == 0) {
    remove_file(SPEAKER);
  }
}

void clear_candidate_table(CandidateTable& table) {
  remove_file(SPEAKER);
  table.fill(CandidateEntry{});
  context.candidate_count = 0;
  dump_current_support_list();
}
