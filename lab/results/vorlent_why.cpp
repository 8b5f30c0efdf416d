#include "results/vorlent_why.h"

#include <string.h>
#include <unistd.h>

#include <cerrno>
#include <sstream>

#include "base/box_files.h"
#include "base/program.h"
#include "node/sandbox.h"

namespace lab {

namespace {

constexpr int kSecondsForOne = 20;
constexpr int kSecondsForAll = 60;

std::string program(const std::string& tools) {
  const std::string beside = tools + "/vorlent-why";
  return access(beside.c_str(), X_OK) == 0 ? beside : "vorlent-why";
}

void add_trouble(cJSON* to, const std::string& text) {
  cJSON_AddStringToObject(to, "trouble", text.c_str());
}

std::string why_none() {
  return errno == ENOENT ? "vorlent-why is not there: neither beside meshlab nor on PATH"
                         : std::string("vorlent-why did not answer: ") + strerror(errno);
}

// Each line of what it printed is a record; whose, its file says.
void add_records(cJSON* data, const std::string& printed) {
  cJSON* units = cJSON_AddObjectToObject(data, "units");
  std::istringstream lines(printed);
  for (std::string line; std::getline(lines, line);) {
    Json record(cJSON_Parse(line.c_str()));
    const char* file = cJSON_GetStringValue(cJSON_GetObjectItem(record.get(), "file"));
    if (file != nullptr) {
      const std::string name = std::string(file).substr(std::string(file).rfind('/') + 1);
      cJSON_AddItemToObject(units, name.substr(0, name.find('.')).c_str(), record.release());
    }
  }
  if (cJSON_GetArraySize(units) == 0) {
    add_trouble(data, "vorlent-why has said nothing; it needs Python 3");
  }
}

}  // namespace

Json why_of_results(const std::string& tools, const std::string& folder,
                    const std::vector<std::string>& units) {
  std::vector<std::string> words{program(tools), "--json"};
  for (const std::string& unit : units) {
    const std::string log = folder + "/" + unit + ".log";
    if (access(log.c_str(), R_OK) == 0) {
      words.push_back((log.front() == '-' ? "./" : "") + log);
    }
  }
  Json data(cJSON_CreateObject());
  if (words.size() > 2) {
    const auto printed = output_of(words, "", kSecondsForAll);
    if (printed) {
      add_records(data.get(), *printed);
    } else {
      add_trouble(data.get(), why_none());
    }
  }
  return data;
}

std::string why_of_box(const std::string& tools, const std::string& box) {
  const std::string older = read_in_box(box, std::string(kLog) + ".1").value_or("");
  const std::string log = older + read_in_box(box, kLog).value_or("");
  Json data(cJSON_CreateObject());
  if (log.empty()) {
    add_trouble(data.get(), "it has logged nothing yet");
    return text_of(data);
  }
  const auto printed = output_of({program(tools), "--json", "-"}, log, kSecondsForOne);
  if (!printed) {
    add_trouble(data.get(), why_none());
    return text_of(data);
  }
  Json record(cJSON_Parse(printed->c_str()));
  if (record == nullptr) {
    add_trouble(data.get(), "vorlent-why has said nothing; it needs Python 3");
    return text_of(data);
  }
  return text_of(record);
}

}  // namespace lab
