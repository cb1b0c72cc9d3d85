#include "status_text.h"

#include <cstdio>

namespace qv::visa {

namespace {
struct Entry {
    ViStatus code;
    const char* name;
    const char* text;
};

// Errors carry the descriptions users see in logs; completion codes carry
// short ones of our own. VI_ERROR_IN_PROGRESS deliberately has no text.
const Entry kEntries[] = {
    {VI_SUCCESS, "VI_SUCCESS", "Operation completed successfully."},
    {VI_SUCCESS_EVENT_EN, "VI_SUCCESS_EVENT_EN", "Specified event is already enabled."},
    {VI_SUCCESS_EVENT_DIS, "VI_SUCCESS_EVENT_DIS", "Specified event is already disabled."},
    {VI_SUCCESS_QUEUE_EMPTY, "VI_SUCCESS_QUEUE_EMPTY", "Operation completed successfully, but queue was already empty."},
    {VI_SUCCESS_TERM_CHAR, "VI_SUCCESS_TERM_CHAR", "The specified termination character was read."},
    {VI_SUCCESS_MAX_CNT, "VI_SUCCESS_MAX_CNT", "The number of bytes read is equal to the input count."},
    {VI_SUCCESS_DEV_NPRESENT, "VI_SUCCESS_DEV_NPRESENT", "Session opened successfully, but the device at the specified address is not responding."},
    {VI_SUCCESS_QUEUE_NEMPTY, "VI_SUCCESS_QUEUE_NEMPTY", "Wait terminated successfully on receipt of an event notification."},
    {VI_SUCCESS_SYNC, "VI_SUCCESS_SYNC", "Asynchronous operation request was actually performed synchronously."},
    {VI_WARN_QUEUE_OVERFLOW, "VI_WARN_QUEUE_OVERFLOW", "The event returned is valid. One or more events that occurred have not been raised because there was no room available on the queue."},
    {VI_WARN_CONFIG_NLOADED, "VI_WARN_CONFIG_NLOADED", "The specified configuration either does not exist or could not be loaded."},
    {VI_WARN_NULL_OBJECT, "VI_WARN_NULL_OBJECT", "The specified object reference is uninitialized."},
    {VI_WARN_NSUP_ATTR_STATE, "VI_WARN_NSUP_ATTR_STATE", "Although the specified state of the attribute is valid, it is not supported by this implementation."},
    {VI_WARN_UNKNOWN_STATUS, "VI_WARN_UNKNOWN_STATUS", "The status code passed to the operation could not be interpreted."},
    {VI_WARN_NSUP_BUF, "VI_WARN_NSUP_BUF", "The specified I/O buffer type is not supported."},
    {VI_ERROR_SYSTEM_ERROR, "VI_ERROR_SYSTEM_ERROR", "Unknown system error (miscellaneouserror)."},
    {VI_ERROR_INV_OBJECT, "VI_ERROR_INV_OBJECT", "The given session or object reference is invalid."},
    {VI_ERROR_RSRC_LOCKED, "VI_ERROR_RSRC_LOCKED", " Specified type of lock cannot be obtained or specified operation cannot be performed, because the resource is locked."},
    {VI_ERROR_INV_EXPR, "VI_ERROR_INV_EXPR", "Invalid expression specified for search."},
    {VI_ERROR_RSRC_NFOUND, "VI_ERROR_RSRC_NFOUND", "Insufficient location information or the device or resource is not present in the system."},
    {VI_ERROR_INV_RSRC_NAME, "VI_ERROR_INV_RSRC_NAME", "Invalid resource reference specified. Parsing error."},
    {VI_ERROR_INV_ACC_MODE, "VI_ERROR_INV_ACC_MODE", "Invalid access mode."},
    {VI_ERROR_TMO, "VI_ERROR_TMO", "Timeout expired before operation completed."},
    {VI_ERROR_CLOSING_FAILED, "VI_ERROR_CLOSING_FAILED", "Unable to deallocate the previously allocated data structures corresponding to this session or object reference."},
    {VI_ERROR_INV_DEGREE, "VI_ERROR_INV_DEGREE", "Specified degree is invalid."},
    {VI_ERROR_INV_JOB_ID, "VI_ERROR_INV_JOB_ID", "Specified job identifier is invalid."},
    {VI_ERROR_NSUP_ATTR, "VI_ERROR_NSUP_ATTR", "The specified attribute is not defined or supported by the referenced session, event, or find list."},
    {VI_ERROR_NSUP_ATTR_STATE, "VI_ERROR_NSUP_ATTR_STATE", "The specified state of the attribute is not valid, or is not supported as defined by the session, event, or find list."},
    {VI_ERROR_ATTR_READONLY, "VI_ERROR_ATTR_READONLY", "The specified attribute is Read Only."},
    {VI_ERROR_INV_LOCK_TYPE, "VI_ERROR_INV_LOCK_TYPE", "The specified type of lock is not supported by this resource."},
    {VI_ERROR_INV_ACCESS_KEY, "VI_ERROR_INV_ACCESS_KEY", "The access key to the resource associated with this session is invalid."},
    {VI_ERROR_INV_EVENT, "VI_ERROR_INV_EVENT", "Specified event type is not supported by the resource."},
    {VI_ERROR_INV_MECH, "VI_ERROR_INV_MECH", "Invalid mechanism specified."},
    {VI_ERROR_HNDLR_NINSTALLED, "VI_ERROR_HNDLR_NINSTALLED", "A handler is not currently installed for the specified event."},
    {VI_ERROR_INV_HNDLR_REF, "VI_ERROR_INV_HNDLR_REF", "The given handler reference is invalid."},
    {VI_ERROR_INV_CONTEXT, "VI_ERROR_INV_CONTEXT", "Specified event context is invalid."},
    {VI_ERROR_NENABLED, "VI_ERROR_NENABLED", "The session must be enabled for events of the specified type in order to receive them."},
    {VI_ERROR_ABORT, "VI_ERROR_ABORT", "The operation was aborted."},
    {VI_ERROR_RAW_WR_PROT_VIOL, "VI_ERROR_RAW_WR_PROT_VIOL", "Violation of raw write protocol occurred during transfer."},
    {VI_ERROR_RAW_RD_PROT_VIOL, "VI_ERROR_RAW_RD_PROT_VIOL", "Violation of raw read protocol occurred during transfer."},
    {VI_ERROR_OUTP_PROT_VIOL, "VI_ERROR_OUTP_PROT_VIOL", "Device reported an output protocol error during transfer."},
    {VI_ERROR_INP_PROT_VIOL, "VI_ERROR_INP_PROT_VIOL", "Device reported an input protocol error during transfer."},
    {VI_ERROR_BERR, "VI_ERROR_BERR", "Bus error occurred during transfer."},
    {VI_ERROR_INV_SETUP, "VI_ERROR_INV_SETUP", "Unable to start operation because setup is invalid (due to attributes being set to an inconsistent state)."},
    {VI_ERROR_QUEUE_ERROR, "VI_ERROR_QUEUE_ERROR", "Unable to queue asynchronous operation."},
    {VI_ERROR_ALLOC, "VI_ERROR_ALLOC", "Insufficient system resources to perform necessary memory allocation."},
    {VI_ERROR_INV_MASK, "VI_ERROR_INV_MASK", "Invalid buffer mask specified."},
    {VI_ERROR_IO, "VI_ERROR_IO", "Could not perform operation because of I/O error."},
    {VI_ERROR_INV_FMT, "VI_ERROR_INV_FMT", "A format specifier in the format string is invalid."},
    {VI_ERROR_NSUP_FMT, "VI_ERROR_NSUP_FMT", "A format specifier in the format string is not supported."},
    {VI_ERROR_LINE_IN_USE, "VI_ERROR_LINE_IN_USE", "The specified trigger line is currently in use."},
    {VI_ERROR_NSUP_MODE, "VI_ERROR_NSUP_MODE", "The specified mode is not supported by this VISA implementation."},
    {VI_ERROR_SRQ_NOCCURRED, "VI_ERROR_SRQ_NOCCURRED", "Service request has not been received for the session."},
    {VI_ERROR_INV_SPACE, "VI_ERROR_INV_SPACE", "Invalid address space specified."},
    {VI_ERROR_INV_OFFSET, "VI_ERROR_INV_OFFSET", "Invalid offset specified."},
    {VI_ERROR_INV_WIDTH, "VI_ERROR_INV_WIDTH", "Invalid source or destination width specified."},
    {VI_ERROR_NSUP_OFFSET, "VI_ERROR_NSUP_OFFSET", "Specified offset is not accessible from this hardware."},
    {VI_ERROR_NSUP_VAR_WIDTH, "VI_ERROR_NSUP_VAR_WIDTH", "Cannot support source and destination widths that are different."},
    {VI_ERROR_WINDOW_NMAPPED, "VI_ERROR_WINDOW_NMAPPED", "The specified session is not currently mapped."},
    {VI_ERROR_RESP_PENDING, "VI_ERROR_RESP_PENDING", "A previous response is still pending, causing a multiple query error."},
    {VI_ERROR_NLISTENERS, "VI_ERROR_NLISTENERS", "No Listeners condition is detected (both NRFD and NDAC are deasserted)."},
    {VI_ERROR_NCIC, "VI_ERROR_NCIC", "The interface associated with this session is not currently the controller in charge."},
    {VI_ERROR_NSYS_CNTLR, "VI_ERROR_NSYS_CNTLR", "The interface associated with this session is not the system controller."},
    {VI_ERROR_NSUP_OPER, "VI_ERROR_NSUP_OPER", "The given session or object reference does not support this operation."},
    {VI_ERROR_INTR_PENDING, "VI_ERROR_INTR_PENDING", "An interrupt is still pending from a previous call."},
    {VI_ERROR_ASRL_PARITY, "VI_ERROR_ASRL_PARITY", "A parity error occurred during transfer."},
    {VI_ERROR_ASRL_FRAMING, "VI_ERROR_ASRL_FRAMING", "A framing error occurred during transfer."},
    {VI_ERROR_ASRL_OVERRUN, "VI_ERROR_ASRL_OVERRUN", "An overrun error occurred during transfer. A character was not read from the hardware before the next character arrived."},
    {VI_ERROR_TRIG_NMAPPED, "VI_ERROR_TRIG_NMAPPED", "The path from trigSrc to trigDest is not currently mapped."},
    {VI_ERROR_NSUP_ALIGN_OFFSET, "VI_ERROR_NSUP_ALIGN_OFFSET", "The specified offset is not properly aligned for the access width of the operation."},
    {VI_ERROR_USER_BUF, "VI_ERROR_USER_BUF", "A specified user buffer is not valid or cannot be accessed for the required size."},
    {VI_ERROR_RSRC_BUSY, "VI_ERROR_RSRC_BUSY", "The resource is valid, but VISA cannot currently access it."},
    {VI_ERROR_NSUP_WIDTH, "VI_ERROR_NSUP_WIDTH", "Specified width is not supported by this hardware."},
    {VI_ERROR_INV_PARAMETER, "VI_ERROR_INV_PARAMETER", "The value of some parameter\xE2\x80\x94which parameter is not known\xE2\x80\x94is invalid."},
    {VI_ERROR_INV_PROT, "VI_ERROR_INV_PROT", "The protocol specified is invalid."},
    {VI_ERROR_INV_SIZE, "VI_ERROR_INV_SIZE", "Invalid size of window specified."},
    {VI_ERROR_WINDOW_MAPPED, "VI_ERROR_WINDOW_MAPPED", "The specified session currently contains a mapped window."},
    {VI_ERROR_NIMPL_OPER, "VI_ERROR_NIMPL_OPER", "The given operation is not implemented."},
    {VI_ERROR_INV_LENGTH, "VI_ERROR_INV_LENGTH", "Invalid length specified."},
    {VI_ERROR_INV_MODE, "VI_ERROR_INV_MODE", "The specified mode is invalid."},
    {VI_ERROR_SESN_NLOCKED, "VI_ERROR_SESN_NLOCKED", "The current session did not have any lock on the resource."},
    {VI_ERROR_MEM_NSHARED, "VI_ERROR_MEM_NSHARED", "The device does not export any memory."},
    {VI_ERROR_LIBRARY_NFOUND, "VI_ERROR_LIBRARY_NFOUND", "A code library required by VISA could not be located or loaded."},
    {VI_ERROR_NSUP_INTR, "VI_ERROR_NSUP_INTR", "The interface cannot generate an interrupt on the requested level or with the requested statusID value."},
    {VI_ERROR_INV_LINE, "VI_ERROR_INV_LINE", "The value specified by the line parameter is invalid."},
    {VI_ERROR_FILE_ACCESS, "VI_ERROR_FILE_ACCESS", "An error occurred while trying to open the specified file. Possible reasons include an invalid path or lack of access rights."},
    {VI_ERROR_FILE_IO, "VI_ERROR_FILE_IO", "An error occurred while performing I/O on the specified file."},
    {VI_ERROR_NSUP_LINE, "VI_ERROR_NSUP_LINE", "One of the specified lines (trigSrc or trigDest) is not supported by this VISA implementation, or the combination of lines is not a valid mapping."},
    {VI_ERROR_NSUP_MECH, "VI_ERROR_NSUP_MECH", "The specified mechanism is not supported by the given event type."},
    {VI_ERROR_INTF_NUM_NCONFIG, "VI_ERROR_INTF_NUM_NCONFIG", "The interface type is valid but the specified interface number is not configured."},
    {VI_ERROR_CONN_LOST, "VI_ERROR_CONN_LOST", "The connection for the given session has been lost."},
    {VI_ERROR_MACHINE_NAVAIL, "VI_ERROR_MACHINE_NAVAIL", "The remote machine does not exist or is not accepting any connections."},
    {VI_ERROR_NPERMISSION, "VI_ERROR_NPERMISSION", "Access to the remote machine is denied."},
};

const Entry* find(ViStatus status) {
    for (const auto& e : kEntries)
        if (e.code == status) return &e;
    return nullptr;
}
}  // namespace

std::string statusHex(ViStatus status) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "%08X", static_cast<unsigned>(status));
    return buf;
}

std::string statusName(ViStatus status) {
    if (const Entry* e = find(status)) return e->name;
    if (status == VI_ERROR_IN_PROGRESS) return "VI_ERROR_IN_PROGRESS";
    return "0x" + statusHex(status);
}

std::string statusText(ViStatus status) {
    if (const Entry* e = find(status)) return e->text;
    return "Unknown VISA error (0x" + statusHex(status) + ")";
}

}  // namespace qv::visa
