// How a run came out, for its JSON documents.
#ifndef LAB_SUMMARY_H
#define LAB_SUMMARY_H

#include <cjson/cJSON.h>

#include "story/expectations.h"

namespace lab {

// The stations and how each has come through.
void add_units(cJSON* to, const Story& story);
// Where the key pairs came from.
void add_keys(cJSON* to, const Mesh& mesh);
// What was expected of them.
void add_verdicts(cJSON* to, const Story& story);

}  // namespace lab

#endif
