// The base's table of the stations that asked to join, and the file that tells other programs which
// of them are ready for their credentials.
//
// Rows in use are always the first `candidate_count`, in order of arrival. A station enters with
// its probe request and leaves when it presents a wrong element or when the credentials are pushed;
// nothing times out, so a station that never goes on keeps its row until the next push. There is
// storage for 16 rows, of which 15 are used.
#ifndef VORLENT_DISCOVERY_CANDIDATE_TABLE_H
#define VORLENT_DISCOVERY_CANDIDATE_TABLE_H

#include <array>
#include <cstdint>

#include "core/context.h"

inline constexpr int CANDIDATE_CAPACITY = 15;
inline constexpr const char* CANDIDATE_FILE = "/tmp/vexo_onborading.json";

// How far a station has come.
enum CandidateStage : std::uint32_t {
  CANDIDATE_PROBED = 0,         // probe request seen
  CANDIDATE_HELLO = 1,          // operation 1000 received
  CANDIDATE_BASE_KEY_SENT = 2,  // operation 1001 sent
  CANDIDATE_KEY_STORED = 3,     // operation 1002 received, key stored
  CANDIDATE_READY = 5,          // operation 1004 sent
};

struct CandidateEntry {
  MacText mac;                     // STA text, the key of the table
  std::array<char, 2048> pub_key;  // PEM text and a NUL; empty until operation 1002
  std::uint16_t key_len;           // bytes of pub_key as received
  std::uint32_t stage;
};

using CandidateTable = std::array<CandidateEntry, CANDIDATE_CAPACITY + 1>;

extern CandidateTable candidate_table;

// Adds `entry` unless its MAC is there already. Returns 1 when added, 0 when present (the row keeps
// its stage and key), -1 when the table is full. Rewrites the file in every case.
int update_candidate_table(CandidateTable& table, const CandidateEntry& entry);

// Removes the row of `mac` and closes the gap. Returns 0, or -1 when there is none. The file is the
// caller's to rewrite.
int delete_node_from_candidate_table(CandidateTable& table, const char* mac);

// The slot of `mac` among the first `count`, or -1. Letter case counts.
int check_in_candidate_list(const CandidateTable& table, int count, const char* mac);

// Logs every row in use, keys included.
void dump_current_support_list();

// Rewrites the file: an object with "candidates", the rows at CANDIDATE_READY with "mac" and "key".
// The text is logged as well. Bytes of a key outside ASCII stand as '?'. Where it cannot be written
// the old file stays until the next rewrite. Returns 0.
int write_candidate_json(const CandidateTable& table);

// Removes the file when the table is empty: it then names stations that an earlier process had.
void forget_earlier_candidates();

// Deletes the file and empties the table.
void clear_candidate_table(CandidateTable& table);

#endif
