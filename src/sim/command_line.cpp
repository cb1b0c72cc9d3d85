#include "command_line.h"

#include <charconv>
#include <cmath>

#include "net_io.h"
#include "profiles.h"

namespace qv::sim {

namespace {

bool parseInt(const std::string& s, long long& v, long long min, long long max) {
    auto r = std::from_chars(s.data(), s.data() + s.size(), v);
    return !s.empty() && r.ec == std::errc() && r.ptr == s.data() + s.size() && v >= min && v <= max;
}

bool parseSeconds(const std::string& s, double& v) {
    auto r = std::from_chars(s.data(), s.data() + s.size(), v);
    return !s.empty() && r.ec == std::errc() && r.ptr == s.data() + s.size() && std::isfinite(v) && v > 0 &&
           v <= 365.0 * 86400;
}

}  // namespace

std::string usageText() {
    return "usage: quilvane-sim --profile FAMILY [instrument options] [--profile FAMILY ...] [global options]\n"
           "\n"
           "Serves simulated SCPI instruments on loopback (or inside a private network namespace).\n"
           "\n"
           "Instrument options (apply to the --profile before them):\n"
           "  --socket-port N     raw SCPI socket on port N (0: a free port)\n"
           "  --vxi11             VXI-11 on a free port\n"
           "  --vxi11-port N      VXI-11 on port N\n"
           "  --pty               serve over a pseudo-terminal\n"
           "  --address A         address to listen on (default 127.0.0.1): 127.x.x.x, or\n"
           "                      inside a private network namespace any IPv4 address of\n"
           "                      this computer there\n"
           "  --root DIR          the instrument's file system (default: a temporary folder)\n"
           "  --no-files          leave its empty drives empty (no example files)\n"
           "  --log FILE          append every received message to FILE\n"
           "  --fault FAULT       KIND[=VALUE][@HEADER]; KIND: delay=MS, drop=BYTES,\n"
           "                      corrupt-block, silent, error=CODE, busy=N (the next N\n"
           "                      *OPC? queries answer 0; no header) (repeatable)\n"
           "  --points N          analyzer trace length (default 1001); network analyzer\n"
           "                      channels start with 201 points, scope records with 10000\n"
           "  --opc-delay MS      *RST and INIT keep the instrument busy this long (0..600000,\n"
           "                      default 0); *OPC? and answers after *WAI wait for them\n"
           "  --signed-errors     error numbers with a sign: SYST:ERR? answers +0,\"No error\"\n"
           "  An instrument without --socket-port, --vxi11 or --pty gets a socket on a free port.\n"
           "\n"
           "Simulator commands (any instrument):\n"
           "  SYST:SIM:FAUL 'FAULT' | FAUL? | FAUL:CLE  faults at run time\n"
           "  SYST:SIM:ERR CODE[,\"TEXT\"]   queue an error; each SYST:ERR? takes the next\n"
           "  SYST:SIM:OPCD MS | OPCD?     the busy time of *RST and INIT\n"
           "  SYST:SIM:SIGN ON|OFF | SIGN? error numbers with a sign\n"
           "  SYST:SIM:DATA? N             N bytes (0..2000000), byte i = (i*7+3)&255, no header, LF\n"
           "  SYST:SIM:TEXT? N             N letters (0..2000000), letter i = 'A'+i%26, LF\n"
           "  SYST:SIM:HANG?               taken, never answered, no error; a device clear ends it\n"
           "  SYST:SIM:POIN N | POIN?      trace length (1..50000000); SENS:SWE:POIN is the same;\n"
           "                               also every network channel's points and the scope\n"
           "                               record length, up to 1000000\n"
           "  SYST:TIME H,M,S | TIME?      the clock (out of range: -222); SYST:DATE Y,M,D | DATE?\n"
           "  Analyzers: CAL:RES?, DIAG:SERV:HWIN?, DIAG:SERV:STES:RES? (empty until *TST?)\n"
           "\n"
           "Traces (FORM ASC | REAL[,32]; TRAC? TRACEn, TRACn:DATA?, TRAC:DATA? in that format):\n"
           "  FREQ:CENT | SPAN | STAR | STOP Hz, and their queries; SPAN 0 is zero span\n"
           "  Analyzers (modes SAN REC CATV PNO ADEM):\n"
           "    CALC:UNIT:POW | UNIT:POW DBM|DBPW|WATT|DBUW|DBMW|VOLT|DBUA|AMPERE|DBPT|DBUW_M|\n"
           "      DBUA_M|DBUV, and ? (default DBM); WATT, VOLT, AMPERE give linear values\n"
           "    DISP:TRAC:X:SPAC LIN|LOG|AUTO | SPAC?;  DISP:TRACn:STAT ON|OFF | STAT? (n 1..6,\n"
           "      1 and 2 on);  SENS:SWE:TIME s | TIME? (default 0.02)\n"
           "    SAN REC CATV: a spectrum (noise floor, peaks); with zero span a burst over\n"
           "      time in the middle third. TKG answers one value more than the length.\n"
           "    PNO: TRAC? TRACEn is text whatever FORM says: pairs of offset (Hz, 10 Hz ..\n"
           "      10 MHz, log spaced) and phase noise (dBc/Hz), one pair a point but at most\n"
           "      100000 characters (3571 pairs)\n"
           "    ADEM: ADEM:FM:RES? WRIT  the FM deviation over the sweep in Hz (other modes:\n"
           "      -113)\n"
           "    MMEM:STOR:TRAC n,'FILE'  trace n as a text file (';' fields, decimal comma,\n"
           "      a Values;<n>; block of <Hz>;<level>;0; lines), e.g. VHK's 'TRACE.ASC'\n"
           "  Audio analyzers (DOF DOC): TRAC? TRACE in volts; SENS:UNIT V|DBV|DBU|DBM|W|DBR |\n"
           "    UNIT?; CALC:TRAN:FREQ:STAR | STOP Hz and ? (20 and 20000; equal: a time\n"
           "    trace); SENS:SWE:TIME; *ERR? answers the oldest error code alone, 0 if none\n"
           "\n"
           "Network analyzers (KDC KDE KDP KDH KDZ; TKW KDX after INST:SEL NWA; others: -113):\n"
           "  A band-pass filter near 1.5 GHz: S21 about -1 dB in its pass band, skirts to\n"
           "    -60 dB; S11, S22 small there and near 1 outside. Channel 1 'Ch1' holds Trc1\n"
           "    (S21, MLOG) and Trc2 (S11, SMIT), channel 2 'Ch2' Trc3 (S22, MLOG); each\n"
           "    channel 1..2 GHz, 201 points. A missing channel suffix: -114, no answer.\n"
           "  CONF:CHAN:CAT? -> '1,Ch1,2,Ch2';  CONF:CHANn[:STAT] ON|OFF | STAT? (OFF takes\n"
           "    its traces; the last channel stays: -221);  CONF:CHANn:NAME 'x' | NAME?\n"
           "  CALCn:PAR:CAT? -> 'Trc1,S21,Trc2,S11';  CALCn:PAR:SDEF 'name','S11|S12|S21|S22';\n"
           "    CALCn:PAR:DEL 'name';  CALCn:PAR:SEL 'name' | SEL? (not in channel n: -224)\n"
           "  CONF:TRACn:NAME 'x' | NAME?  trace n in creation order (none: -114)\n"
           "  CALCn:FORM MLOG|PHAS|SMIT|POL|REAL|IMAG|MLIN|SWR|UPH | FORM?  the active trace\n"
           "  CALCn:DATA? FDATA  the active trace in its format (SMIT, POL: re,im pairs);\n"
           "    SDATA: re,im pairs always; no active trace: -221, no answer\n"
           "  TRAC:STIM? CHnDATA  stimulus in Hz;  SENSn:FREQ:STAR|STOP|CENT|SPAN Hz,\n"
           "    SENSn:SWE:POIN 1..1000000, per channel; INST:SEL CHANNELn: the active channel\n"
           "    (n when a suffix is left out)\n"
           "  KDM: four fixed channels (CH1 S21 MLOG, CH2 S11 SMIT, CH3 S21 PHAS, CH4 S22\n"
           "    MLOG), no names or catalogues; INST:SEL CHANNELn | SEL? -> CHANNEL1;\n"
           "    TRAC? CHnDATA, TRAC:STIM? CHnDATA, CALCn:FORM, SENSn:...\n"
           "\n"
           "Oscilloscopes (MYI MYK: data in the FORM; MYE: always NR3 text):\n"
           "  ACQ:POIN 1..1000000 | POIN? (10000);  TIM:SCAL s | SCAL? (1E-4, ten divisions:\n"
           "    x from -5*scale to +5*scale);  CHANn:STAT ON|OFF | STAT? (n 1..4, CH1 on)\n"
           "  CH1 5 kHz sine 1 V, CH2 2 kHz square 0.5 V, CH3 1 kHz triangle 0.8 V, CH4 a\n"
           "    50 kHz ringing from the trigger, every 2 ms; a channel off: -221, no answer\n"
           "  MYI: CHANn:WAV1:DATA:HEAD? -> x0,x1,points,1;  CHANn:WAV1:DATA?\n"
           "  MYE: CHANn:DATA:HEAD? -> x0,x1,samples,values per sample;  CHANn:DATA?;\n"
           "    CHANn:TYPE SAMP|PDET | TYPE? (peak detect: points/2 samples of min,max)\n"
           "  CALC:MATHm \"CH1+CH2\" | MATHm? (CHa, CHa+-*/CHb, FFTMAG(...) or FFT(...);\n"
           "    \"\" undefined); defaults CH1+CH2, FFTMAG(CH1), \"\", CH1*CH2\n"
           "  CALC:MATHm:STAT ON|OFF | STAT? (off: -221, no answer);  CALC:MATHm:DATA:HEAD?\n"
           "    (spectra: 0,points/record/2,points,1 in dBm; undefined: 0,0,points,1, zeros);\n"
           "    CALC:MATHm:DATA?\n"
           "\n"
           "Correction tables (queries answer plain numbers, Hz and dB):\n"
           "  Generators (GLEF GLN GLY GLT GXB): CORR:STAT ON|OFF | STAT?  (ON with lists of\n"
           "    different lengths: -221, stays off); CORR:CSET:SEL 'NAME' | SEL?;\n"
           "    CORR:CSET:DATA:FREQ f,f,... (Hz kHz MHz GHz) | FREQ? | FREQ:POIN?;\n"
           "    CORR:CSET:DATA:POW l,l,... (dB dBm dBuV dBuV/m dBuA dBuA/m dBpW dBpt, the u\n"
           "    also as the byte 0xB5) | POW? | POW:POIN?; up to 10000 points (-223)\n"
           "  Analyzers (TKD TKM TKB TKW): CORR:TRAN:SEL 'NAME' | SEL?; CORR:TRAN:UNIT 'DB'|\n"
           "    'DBM'|'DBUV'|'DBUV/M'|'DBUA'|'DBUA/M'|'DBPW'|'DBPT' | UNIT?; CORR:TRAN:SCAL\n"
           "    LIN|LOG | SCAL?; CORR:TRAN:COMM 'TEXT' | COMM?; CORR:TRAN:DATA f,l,f,l,...\n"
           "    (plain numbers, up to 625 pairs; none clears) | DATA? | DATA:POIN? (pairs)\n"
           "  MMEM:STOR:PEAK 'FILE'         the trace's peaks as a file (TKD TKM TKB TKW TKN)\n"
           "  TKM: INST:SEL DDEM; SENS:DDEM:FORM QPSK|BPSK|8PSK|QAM16|MSK|FSK|... | FORM?;\n"
           "    in DDEM, TRACE2:DATA? TRACE2 answers the 53 values of the result summary\n"
           "  SYST:SIM:DDEM:COUN N | COUN?  values the summary answers (0..200, default 53)\n"
           "\n"
           "Global options:\n"
           "  --portmapper-port N our own port mapper on port N (0: a free port)\n"
           "  --rpcbind           register the first VXI-11 port with the system's rpcbind\n"
           "  --mdns              announce the instruments by multicast DNS (_vxi-11._tcp,\n"
           "                      _scpi-raw._tcp) through the system's Avahi daemon; without\n"
           "                      one, a line on stderr and the instruments run all the same\n"
           "  --port-file FILE    write socket=, vxi11=, pty=, portmapper= lines once listening\n"
           "  --lifetime SECONDS  exit after this long\n"
           "  --exit-with-parent  exit when the parent process ends\n"
           "  --help              this text\n"
           "\n"
           "Families: " +
           knownProfileTags() + "\n";
}

bool parseCommandLine(const std::vector<std::string>& args, CommandLine& out, std::string& error) {
    out = CommandLine{};
    auto& instruments = out.simulator.instruments;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        auto value = [&](std::string& v) {
            if (i + 1 >= args.size()) {
                error = a + " needs a value";
                return false;
            }
            v = args[++i];
            return true;
        };
        auto current = [&]() -> InstrumentConfig* {
            if (instruments.empty()) {
                error = a + " must follow a --profile";
                return nullptr;
            }
            return &instruments.back();
        };
        auto port = [&](int& target) {
            std::string v;
            long long n = 0;
            if (!value(v)) return false;
            if (!parseInt(v, n, 0, 65535)) {
                error = a + ": '" + v + "' is not a port number (0..65535)";
                return false;
            }
            target = int(n);
            return true;
        };
        std::string v;
        if (a == "--help" || a == "-h") {
            out.help = true;
        } else if (a == "--profile") {
            if (!value(v)) return false;
            if (!findProfile(v)) {
                error = "unknown profile '" + v + "'; known profiles: " + knownProfileTags();
                return false;
            }
            InstrumentConfig c;
            c.profile = v;
            instruments.push_back(std::move(c));
        } else if (a == "--socket-port") {
            auto* c = current();
            if (!c || !port(c->socketPort)) return false;
        } else if (a == "--vxi11") {
            auto* c = current();
            if (!c) return false;
            c->vxi11 = true;
        } else if (a == "--vxi11-port") {
            auto* c = current();
            if (!c || !port(c->vxi11Port)) return false;
            c->vxi11 = true;
        } else if (a == "--pty") {
            auto* c = current();
            if (!c) return false;
            c->pty = true;
        } else if (a == "--address") {
            auto* c = current();
            if (!c || !value(v)) return false;
            in_addr addr{};
            std::string why;
            if (!parseListenAddress(v, addr, why)) {
                error = "--address " + why;
                return false;
            }
            c->address = v;
        } else if (a == "--root") {
            auto* c = current();
            if (!c || !value(c->root)) return false;
        } else if (a == "--no-files") {
            auto* c = current();
            if (!c) return false;
            c->seedFiles = false;
        } else if (a == "--log") {
            auto* c = current();
            if (!c || !value(c->logFile)) return false;
        } else if (a == "--fault") {
            auto* c = current();
            if (!c || !value(v)) return false;
            Fault f;
            if (!parseFault(v, f, error)) return false;
            c->faults.push_back(v);
        } else if (a == "--points") {
            auto* c = current();
            long long n = 0;
            if (!c || !value(v)) return false;
            if (!parseInt(v, n, 1, Instrument::kMaxPoints)) {
                error = "--points '" + v + "': expected 1.." + std::to_string(Instrument::kMaxPoints);
                return false;
            }
            c->points = uint32_t(n);
        } else if (a == "--opc-delay") {
            auto* c = current();
            long long n = 0;
            if (!c || !value(v)) return false;
            if (!parseInt(v, n, 0, Instrument::kMaxOpcDelayMs)) {
                error = "--opc-delay '" + v + "': expected 0.." + std::to_string(Instrument::kMaxOpcDelayMs) + " ms";
                return false;
            }
            c->opcDelayMs = uint32_t(n);
        } else if (a == "--signed-errors") {
            auto* c = current();
            if (!c) return false;
            c->signedErrors = true;
        } else if (a == "--portmapper-port") {
            if (!port(out.simulator.portmapperPort)) return false;
        } else if (a == "--rpcbind") {
            out.simulator.rpcbind = true;
        } else if (a == "--mdns") {
            out.simulator.mdns = true;
        } else if (a == "--port-file") {
            if (!value(out.portFile)) return false;
        } else if (a == "--lifetime") {
            if (!value(v)) return false;
            if (!parseSeconds(v, out.lifetimeSeconds)) {
                error = "--lifetime '" + v + "': expected a positive number of seconds";
                return false;
            }
        } else if (a == "--exit-with-parent") {
            out.exitWithParent = true;
        } else {
            error = "unknown argument '" + a + "'";
            return false;
        }
    }
    if (out.help) return true;
    if (instruments.empty()) {
        error = "at least one --profile is needed";
        return false;
    }
    if (out.simulator.rpcbind && out.simulator.portmapperPort >= 0) {
        error = "--portmapper-port and --rpcbind exclude each other";
        return false;
    }
    if (out.simulator.rpcbind) {
        bool any = false;
        for (const auto& c : instruments) any = any || c.vxi11;
        if (!any) {
            error = "--rpcbind needs an instrument with --vxi11";
            return false;
        }
    }
    return true;
}

}  // namespace qv::sim
