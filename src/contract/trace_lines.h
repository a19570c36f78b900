// The lines of the trace from which a shutdown can be read back: formats of printf, each with the level at
// which it is written. Readers of traces match them, so they change with a reason only. In a host's file a
// line may stand behind a prefix of the host's, and without its own; what the tables of actions and
// notifications hold is not repeated here.
#pragma once

namespace em::line {

// The module's life. The name is that of slot 14.
inline constexpr char kStarting[] = "\n### Starting module %s ###\n";                       // 1
inline constexpr char kStarted[] = "\n\n### Start of module %s completed successfully ###"; // 1
inline constexpr char kStopping[] = "\n### Stopping module %s ###\n";                       // 1
inline constexpr char kStopped[] = "\n\n### Stop of module %s completed successfully ###";  // 1

// Each message that the host hands in, and each answer. The tag is the module's name with what stands behind
// it, in 20 columns; then the command's header, and its data in one of four forms, with the cabinet or
// without.
inline constexpr char kRequestTag[] = " (REQ)";
inline constexpr char kReturnTag[] = " (RET)";
inline constexpr char kReplyTag[] = " (RPL)";
inline constexpr char kMessage[] = "\n%-20s: OC 0x%04X-0x%04X OID 0x%04X MID 0x%04X%04X Stat 0x%02X"; // 2
inline constexpr char kMessageOfCabinet[] =
    "\n%-20s: OC 0x%04X-0x%04X OID 0x%04X CABID %04d MID 0x%04X%04X Stat 0x%02X"; // 2
inline constexpr char kMessageWithNumber[] =
    "\n%-20s: OC 0x%04X-0x%04X OID 0x%04X MID 0x%04X%04X Stat 0x%02X Data %d"; // 2
inline constexpr char kMessageOfCabinetWithNumber[] =
    "\n%-20s: OC 0x%04X-0x%04X OID 0x%04X CABID %04d MID 0x%04X%04X Stat 0x%02X Data %d"; // 2
inline constexpr char kMessageWithBytes[] =
    "\n%-20s: OC 0x%04X-0x%04X OID 0x%04X MID 0x%04X%04X Stat 0x%02X Len %d"; // 2
inline constexpr char kMessageOfCabinetWithBytes[] =
    "\n%-20s: OC 0x%04X-0x%04X OID 0x%04X CABID %04d MID 0x%04X%04X Stat 0x%02X Len %d"; // 2
inline constexpr char kMessageWithStructure[] =
    "\n%-20s: OC 0x%04X-0x%04X OID 0x%04X MID 0x%04X%04X Stat 0x%02X Data (JSON struct):\n%s"; // 2
inline constexpr char kMessageOfCabinetWithStructure[] =
    "\n%-20s: OC 0x%04X-0x%04X OID 0x%04X CABID %04d MID 0x%04X%04X Stat 0x%02X Data (JSON struct):\n%s"; // 2

// How a shutdown comes to be: by a request or reply (shutdown_actions.h) or at a time of day. One that the
// queue did not take is answered like any other; a refused insert is what tells them apart. Then the cancels.
inline constexpr char kOffTimeReached[] =
    "\nEM_SHUTDOWN         : Power off time %02d:%02d reached - Request system shutdown!"; // 1
inline constexpr char kTaskRaised[] = "\nCTaskSerializer     : Task at level %d raised";   // 4
inline constexpr char kTaskInserted[] =
    "\nCTaskSerializer     : Task with priority %d inserted into task queue!"; // 5
inline constexpr char kQueueFull[] =
    "\nCTaskSerializer     : ## ERROR! Task queue for priority %d is full"; // 1
inline constexpr char kQueueShut[] =
    "\nCTaskSerializer     : Manager locked for Tasks at level %d. Task ignored!"; // 4
inline constexpr char kCancelRequest[] =
    "\nEM_SHUTDOWN         :  # Request CM_ShutdownRequestCancelled #";                          // 2
inline constexpr char kCancelTaken[] = "\nEM_SHUTDOWN         : Cancel pending system shutdown"; // 2
inline constexpr char kCancelTooLate[] =
    "\nEM_SHUTDOWN         : ERROR! Shutdown already in progress and cannot be cancelled"; // 1
inline constexpr char kNothingToCancel[] =
    "\nEM_SHUTDOWN         : ERROR! No pending system shutdown found!"; // 1

// The status (shutdown_status.h), at each change.
inline constexpr char kStatusChanged[] = "\nEM_SHUTDOWN         : System shutdown status changed to %d"; // 3

// The alert sequence, in its order. The number behind CAB is the cabinet's.
inline constexpr char kTaskBegins[] = "\nEM_SHUTDOWN         : CAB %04d: ## CM_RequestShutdownAndXXX ##"; // 1
inline constexpr char kGateAnswer[] = "\nEM_SHUTDOWN         :MaintenanceMode is %s"; // 5, also of others
inline constexpr char kGateRefuses[] =
    "\nEM_SHUTDOWN         : Maintenance Mode not set. Shutdown aborted!";                          // 1
inline constexpr char kReasonNumber[] = "\n                    :   reason = 0x%02X";                // 3
inline constexpr char kReasonText[] = "\nEM_SHUTDOWN         : Shutdown reason: \"%s\"";            // 1
inline constexpr char kSettingsAsked[] = "\nEM_SHUTDOWN         : Checking shutdown settings";      // 2
inline constexpr char kDelayGiven[] = "\nEM_SHUTDOWN         :    shutdown delay (ORBA) = %d sec."; // 3
inline constexpr char kNoDelayGiven[] =
    "\nEM_SHUTDOWN         : ## WARNING! No shutdown delay specified!"; // 3
inline constexpr char kForceDelayGiven[] =
    "\nEM_SHUTDOWN         :    shutdown force delay (ORBA) = %d sec."; // 3
inline constexpr char kNoForceDelayGiven[] =
    "\nEM_SHUTDOWN         : ## WARNING! No shutdown force delay specified!";                    // 3
inline constexpr char kDelayBegins[] = "\nEM_SHUTDOWN         : Start shutdown delay %d sec..."; // 3
inline constexpr char kDelayOver[] = "\nEM_SHUTDOWN         : ...shutdown delay %d exceeded";    // 3
inline constexpr char kEndsCancelled[] =
    "\nEM_SHUTDOWN         : CAB %04d: System shutdown was cancelled by ORBA call!"; // 1
inline constexpr char kPerforming[] =
    "\nEM_SHUTDOWN         : CAB %04d: ###  PERFORMING S H U T D O W N  ####!\n\n"; // 1

// The job: what the host gave, then what became of it.
inline constexpr char kJobName[] = "\nEM_SHUTDOWN         :   Shutdown job = %s";                  // 3
inline constexpr char kJobDirectory[] = "\nEM_SHUTDOWN         :   Shutdown job working dir = %s"; // 3
inline constexpr char kJobTimeout[] = "\nEM_SHUTDOWN         :   Shutdown job timeout = %d";       // 3
inline constexpr char kNoJob[] = "\nEM_SHUTDOWN         : No shutdown job configured";             // 2
inline constexpr char kJobFound[] = "\nCOSShutdown         : Shutdown job \"%s\" found!";          // 1
inline constexpr char kJobBegins[] = "\nEM_SHUTDOWN         : Run shutdown job (%s)!";             // 2
inline constexpr char kJobEnded[] = "COSShutdown         : Cleanup program finished\n";            // 1
inline constexpr char kJobTimedOut[] =
    "COSShutdown         : WARNING - Timeout waiting for cleanup program\n"; // 1
inline constexpr char kJobFailed[] =
    "COSShutdown         : Start cleanup program failed! Error code %d\n"; // 1

// Job and command alike; written at every level, also while tracing is off.
inline constexpr char kCommandBegins[] = "COSShutdown         : ExecuteCmd initiated %s\n";
inline constexpr char kCommandForked[] = "COSShutdown         : ExecuteCmd forked: %s\n";
inline constexpr char kCommandFailed[] = "COSShutdown         : ExecuteCmd failed: %s\n";
inline constexpr char kCommandEnded[] =
    "COSShutdown         : ExecuteCmd finished: %s\n"; // or not waited for

// The command, behind which its row's own line follows. "OK" or "FAILED".
inline constexpr char kPrivilege[] = "\nCOSShutdown         : PrepareSystemShutdown(): %s!"; // 1

// The system goes down without the module's doing.
inline constexpr char kDisconnectBegins[] =
    "\nEM_SHUTDOWN         : CAB %04d: ## START CM_Disconnect ##";                                     // 1
inline constexpr char kDisconnectEnds[] = "\nEM_SHUTDOWN         : CAB %04d: ## END CM_Disconnect ##"; // 1
inline constexpr char kShutdownByUser[] =
    "\nEM_SHUTDOWN         : System shutdown initiated by user - shutdown reason %d!\n"; // 2

// An exception that ended at a boundary, with the operation's name.
inline constexpr char kException[] = "\n\nEM_SHUTDOWN         : ## EXCEPTION in %s! ##"; // 1

} // namespace em::line
