# Made by scripts/bindings of include/ and bindings/interface.toml.
"""The constants of the headers."""

import enum


class ParameterCode(enum.IntEnum):
    """Result codes of the parameter store."""

    SUCCESS = 0  # done; of a comparison: equal
    ERR_NAME = 1  # bad name, or no such parameter
    ERR_BUFFER = 2  # NULL argument, or the value does not fit the caller's buffer
    ERR_FILE = 3  # bad or unreadable file or checksum
    ERR_VALUE = 4  # NULL or over-long value
    ERR_SYSTEM = 5  # system failure
    ERR_DIFFER = 6  # the value differs


class MessagingCode(enum.IntEnum):
    """Result codes of the messaging families (ipc_mq_ and ipc_msg_)."""

    SUCCESS = 0  # done
    ERR_PARAM = 1  # parameter check failed
    ERR_NOT_INIT = 2  # not initialised
    ERR_LENGTH = 4  # length mismatch or unexpected message
    ERR_TOO_SMALL = 5  # the caller's buffer or array is too small
    ERR_REFUSED = 6  # registration refused by the publisher
    ERR_TIMEOUT = 7  # timed out
    ERR_FULL = 8  # queue full and the caller would not wait
    ERR_EMPTY = 9  # queue empty and the caller would not wait
    ERR_SOCKET = 10  # socket error
    ERR_RESOURCE = 11  # out of memory, list failure, or a limit reached


class TimerCode(enum.IntEnum):
    """Result codes."""

    SUCCESS = 0  # done
    ERR_NOT_INIT = 1  # not initialised; init_timer(): already, or out of memory
    ERR_PARAM = 2  # bad argument
    ERR_NO_TIMER = 3  # the timer expired or was stopped
    ERR_THREAD = 4  # the thread cannot be started
    ERR_INTERNAL = -1  # out of memory, or a list failure


class MessageType(enum.IntEnum):
    """Types of messages."""

    ASYNC = 0  # no reply expected
    REQUEST = 1  # synchronous request
    RESPONSE = 2  # response to a synchronous request
    SHORT = 3  # 8-byte header, body at offset 8; endpoints do not send it


class Module(enum.IntEnum):
    """Module identifiers."""

    WM = 0  # "wm": the WAN manager
    MM = 1  # "mm": the WAN manager's messaging address
    CGI = 2  # "cgi"
    CLI1 = 3  # "cli1": the LTE client; always a per-process name
    CLI2 = 4  # "cli1" too; likewise
    SMS_PB = 6  # "sms_pb": the SMS store
    UPTEST = 7  # "uptest"
    COUNT = 8  # identifiers are below it


class LogLevel(enum.IntEnum):
    """Levels."""

    DEBUG = 0  # details, for finding a fault
    INFO = 1  # what happens
    ERROR = 2  # what went wrong


class LinkState(enum.IntEnum):
    """States of the link."""

    DISCONNECTED = 0  # down
    DISCONNECTING = 1  # going down
    CONNECTED = 2  # up
    CONNECTING = 3  # coming up
    CLEAR = 4  # cleared


class Request(enum.IntEnum):
    """Message identifiers of the WAN manager and, the last, of the SMS store."""

    SC_STATE_CHANGE_REQ = 0x10000001  # change the state
    WM_MSG_CONNECT_REQ = 0x10400001  # bring the link up
    WM_MSG_DISCONNECT_REQ = 0x10400003  # take the link down
    WM_MSG_LINK_STATUS_NOTIFY = 0x10400016  # notification: lct_link_status
    WM_MSG_IFACE_STATUS_NOTIFY = 0x10400017  # notification: lct_iface_status
    WM_MSG_NETTYPE_GET_REQ = 0x1040005a  # read the network type
    WM_MSG_NETTYPE_SET_REQ = 0x1040005c  # set the network type
    WM_MSG_ROAM_SWITCH_GET_REQ = 0x1040006a  # read the roaming switch
    WM_MSG_ROAM_SWITCH_SET_REQ = 0x1040006c  # set the roaming switch
    WM_MSG_PIN_DISABLE_REQ = 0x10400070  # no longer ask for the PIN
    WM_MSG_PIN_MODIFY_REQ = 0x10400080  # change the PIN
    WM_MSG_PIN_MODIFY_EN_REQ = 0x10400082  # switch by a byte whether the PIN is asked for
    WM_MSG_NETLIST_SEARCH_REQ = 0x10400086  # search for operators
    WM_MSG_MODEM_AT_REQ = 0x1040008f  # carry out an AT command
    WM_MSG_PIN_ENABLE_REQ = 0x1040009c  # ask for the PIN at every start
    WM_MSG_DUALMODE_SET_PREF_REQ = 0x104000a3  # prefer a radio technology
    WM_MSG_APN_SET_REQ = 0x104000aa  # use the stored access point name
    WM_MSG_MODEM_NOTIFY = 0x104000b3  # notification: what the modem reports
    WM_MSG_IMSI_GET_REQ = 0x104000bd  # read the IMSI
    WM_MSG_IFACE_UPORDOWN_REQ = 0x104000bf  # bring the interface up or down
    WM_MSG_DIAG_INFO_REQ = 0x104000c1  # snapshot for diagnosis, of what is public
    WM_MSG_DIAG_HIDE_INFO_REQ = 0x104000c3  # snapshot for diagnosis, of all
    WM_MSG_LTE_CHANNEL_REQ = 0x104000c5  # read the LTE channel
    WM_MSG_SERIAL_PORT_SET_REQ = 0x104000c7  # select the modem's serial port
    WM_MSG_AT_CFUN_OFF_REQ = 0x104000cf  # switch the modem's radio off
    WM_MSG_SMS_DEL_ALL_REQ = 0x104000d1  # delete every SMS


class UpgradeStatus(enum.IntEnum):
    """Status of an upgrade, for an application's own reports."""

    FAIL = -1  # failed
    NONE = 0  # none
    OK = 1  # succeeded
    GO = 2  # under way
    CHKOK = 3  # image checked


MEM_OWNER_LIST = 0x1000000  # list records
MEM_OWNER_HASHTAB = 0x2000000  # hash tables
MEM_OWNER_IPC = 0x3000000  # queues, message buffers
MEM_OWNER_IPC_SYNC = 0x3000001  # receive thread, its messages, waiters, registrations
MEM_OWNER_TIMER = 0x7000000  # timers
MEM_OWNER_LCT = 0x84080000  # messages of the LTE client, long trace entries
LC_LOG_FLAG_PREFIX = "/tmp/.LC_DEBUG_FLAG_"  # of flag files: NAME_LEVEL or TIME follows
LC_LOG_CONFIG_FILE = "/usr/bin/logid.cfg"  # modules beyond those that are built in
LC_LOG_BUILT_IN = 16  # so many modules are built in, from 0 on
LC_LOG_NAME_SIZE = 33  # bytes of a module's name, its terminator included
LC_NETWORK_ERR_IP = -2  # no IP address; of lc_arp_update() a NULL argument
LC_MAC_SIZE = 6  # bytes of a hardware address
LC_MAC_TEXT_SIZE = 18  # bytes of "00:11:22:33:44:55" and its terminator
TIMER_TICK_MS = 50  # milliseconds from tick to tick
TIMER_NAME_MAX = 20  # characters of a timer's name
IPC_MQ_MAX_QUEUES = 64  # queues of a process
IPC_MQ_DEFAULT_CAPACITY = 256  # messages of a queue that is made with capacity 0
IPC_MSG_MAX_SIZE = 1024  # bytes of the largest datagram, header included
IPC_MSG_ID_STOP = 1  # ends the receive thread
IPC_MSG_ID_REGISTER = 2  # subscribes to a notification
IPC_MSG_ID_DEREGISTER = 3  # unsubscribes
IPC_PRIORITY_COMMON = 0  # the only priority that has a socket
NVMRAM_DIR = "/tmp/nv/"  # volatile parameters
NVM_CURRENT_DIR = "/2ndfile/nv/currentnv/"  # current copies
NVM_BACKUP_DIR = "/2ndfile/nv/backupnv/"  # backup copies
NVM_DEFAULTS_FILE = "/2ndfile/nv/default.cfg"  # declarations
NVM_SHUTDOWN_MARKER = "/2ndfile/nvflage"  # a directory: the last run ended in order
NV_VALUE_MAX = 4095  # bytes of a value, without its terminator
NV_LINE_SIZE = 4256  # bytes of the buffer that a line is read into
NV_CHECKSUM_SIZE = 9  # bytes of the checksum line, with its line feed
NV_ATTR_RESET = 1  # attribute bit: nvm_routerreset() gives the default back
NV_IDENTITY_VERSION = "pri_version"  # parameter: for which router a file was made
NV_IDENTITY_VARIANT = "up_dev_sku"  # parameter: for which variant of it
NV_LINE_PARAMETER = 0  # nv_parse_line(): a parameter
NV_LINE_SKIP = 1  # nv_parse_line(): a comment or an empty line
NV_LINE_MALFORMED = -1  # nv_parse_line(): neither
LCT_PARAM_SIGNAL = "wm_wcdma_rssi_tmp"  # signal strength
LCT_PARAM_IMEI = "wm_wcdma_imei_nv"  # IMEI
LCT_PARAM_SIM = "wm_wcdma_modem_status_tmp"  # state of the SIM
LCT_PARAM_LINK = "wm_wcdma_link_tmp"  # LCT_LINK_... in decimal
LCT_PARAM_OPERATORS = "wm_search_netlist_nv"  # what the last search found
LCT_PARAM_DIAG = "wm_wcdma_diag_tmp"  # diagnosis
LCT_PARAM_SYSLOG_SWITCH = "wm_syslog_switch_flg"  # 1: the host wants the log
LCT_PARAM_USSD_TEST = "test_ussd_flg"  # which answer lct_test_ussd_notify_req() sends
LCT_TRACE_FILE = "/tmp/ltelog.1"  # what is appended to
LCT_TRACE_OLDER_FILE = "/tmp/ltelog.2"  # the generation before
LCT_TRACE_LIMIT = 0x40000  # bytes; the entry that goes beyond ends a generation
LCT_EVENT_LINK_STATUS = 0xaf001  # the link changed: lct_link_status
LCT_EVENT_IFACE_STATUS = 0xaf002  # the interface changed: lct_iface_status
LCT_LINK_BODY_SIZE = 656  # bytes of a lct_link_status
LCT_IFACE_BODY_SIZE = 688  # bytes of a lct_iface_status
LCT_IFACE_TYPE_WCDMA = 2  # iface_type of the WCDMA/LTE modem
LCT_LED_SIGNAL = 1  # the signal's
LCT_LED_INTERNET = 2  # the link's
LCT_LED_SIM = 3  # the SIM's
LC_UP_DATA_PORT = "/dev/ttyUSB1"  # takes the image
LC_UP_AT_PORT = "/dev/ttyUSB3"  # takes AT commands
LC_UP_PIECE_SIZE = 2048  # bytes of image in a frame
UPGRADE_TLV_TYPE_COMMAND_REQ = 1  # a command
UPGRADE_TLV_TYPE_COMMAND_RSP = 2  # the response to a command
UPGRADE_TLV_TYPE_DATA_REQ = 16  # a piece of the image
UPGRADE_TLV_TYPE_DATA_RSP = 32  # the response to a piece
UPGRADE_TLV_TYPE_CMD_BEGIN = 0x42454749  # the image begins
UPGRADE_TLV_TYPE_CMD_END = 0x454e444c  # the image is complete
LC_UP_AT_START = "at+syscmd=sys_upgrade_start\r\n"  # switches into upgrade mode
LC_UP_AT_STATUS = "at+syscmd=sys_upgrader_get\r\n"  # asks for the state of the upgrade
