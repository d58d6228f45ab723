#pragma once
// How a pipe message travels: as one or more socket records, each a one-byte flag followed
// by up to kRecordPayloadBytes of the message. A socket record is bounded by the sender's
// socket buffer, so a long message is cut into records and joined again by the reader; a
// short one still costs exactly one record.

#include <cstddef>

namespace QUORVAN::Rendix::Global::pipeframing {

constexpr char kLastRecord = 'L';   // the message ends with this record
constexpr char kMoreRecords = 'M';  // further records of the same message follow
// Well below the default socket buffer (212992 bytes), so every record fits one send.
constexpr std::size_t kRecordPayloadBytes = 64u << 10;
constexpr std::size_t kRecordBytes = 1 + kRecordPayloadBytes;
// The largest message sent or accepted: each client's reader holds at most this much, and a
// client that goes beyond it is dropped.
constexpr std::size_t kMaxMessageBytes = 64u << 20;

}  // namespace QUORVAN::Rendix::Global::pipeframing
