#include <Tarn/Logging/Diagnostics.h>
#include <Tarn/Logging/Log.h>

#include "Logging/Internal/Diagnostics.h"

#include <cstdio>

namespace Tarn::Logging {

namespace {

const Log crashLog("Crash");

enum : uint8_t { workstation = 1 };

enum : uint16_t {
    suiteEnterprise = 0x0002,
    suiteDatacenter = 0x0080,
    suitePersonal = 0x0200,
    suiteBlade = 0x0400,
    suiteStorageServer = 0x2000,
    suiteComputeServer = 0x4000,
    suiteHomeServer = 0x8000,
};

enum : uint16_t { architectureX86 = 0, architectureIa64 = 6, architectureAmd64 = 9, architectureArm64 = 12 };

// GetProductInfo's codes with an edition name of their own.
const char* productEdition(uint32_t product) {
    switch (product) {
    case 0x01:
        return "Ultimate Edition";
    case 0x30:
        return "Professional";
    case 0x03:
        return "Home Premium Edition";
    case 0x02:
        return "Home Basic Edition";
    case 0x04:
        return "Enterprise Edition";
    case 0x06:
        return "Business Edition";
    case 0x0B:
        return "Starter Edition";
    case 0x12:
        return "Cluster Server Edition";
    case 0x08:
        return "Datacenter Edition";
    case 0x0C:
        return "Datacenter Edition (core installation)";
    case 0x0A:
        return "Enterprise Edition";
    case 0x0E:
        return "Enterprise Edition (core installation)";
    case 0x0F:
        return "Enterprise Edition for Itanium-based Systems";
    case 0x09:
        return "Small Business Server";
    case 0x19:
        return "Small Business Server Premium Edition";
    case 0x07:
        return "Standard Edition";
    case 0x0D:
        return "Standard Edition (core installation)";
    case 0x11:
        return "Web Server Edition";
    default:
        return nullptr;
    }
}

// Server editions of Windows Server 2003, by processor and suite.
const char* server2003Edition(const WindowsVersion& version) {
    const uint16_t suite = version.suiteMask;
    if (version.processorArchitecture == architectureIa64) {
        if (suite & suiteDatacenter) {
            return "Datacenter Edition for Itanium-based Systems";
        }
        return (suite & suiteEnterprise) ? "Enterprise Edition for Itanium-based Systems" : nullptr;
    }
    if (version.processorArchitecture == architectureAmd64) {
        if (suite & suiteDatacenter) {
            return "Datacenter x64 Edition";
        }
        return (suite & suiteEnterprise) ? "Enterprise x64 Edition" : "Standard x64 Edition";
    }
    if (suite & suiteComputeServer) {
        return "Compute Cluster Edition";
    }
    if (suite & suiteDatacenter) {
        return "Datacenter Edition";
    }
    if (suite & suiteEnterprise) {
        return "Enterprise Edition";
    }
    return (suite & suiteBlade) ? "Web Edition" : "Standard Edition";
}

} // namespace

std::optional<std::string> describeWindowsVersion(const WindowsVersion& version) {
    const bool isWorkstation = version.productType == workstation;
    const uint32_t major = version.majorVersion;
    const uint32_t minor = version.minorVersion;
    const char* product = nullptr;
    const char* edition = nullptr;
    if (major >= 6) {
        // Every later release reports itself through these numbers (Windows 11 and Server 2019 and
        // 2022 too), so the newest names stand for everything after them.
        if (major >= 10) {
            product = isWorkstation ? "Windows 10" : "Windows Server 2016";
        } else if (major == 6 && minor >= 3) {
            product = isWorkstation ? "Windows 8.1" : "Windows Server 2012 R2";
        } else if (major == 6 && minor == 2) {
            product = "Windows 8";
        } else if (major == 6 && minor == 1) {
            product = isWorkstation ? "Windows 7" : "Windows Server 2008 R2";
        } else {
            product = isWorkstation ? "Windows Vista" : "Windows Server 2008";
        }
        edition = productEdition(version.productInfo);
    } else if (major == 5 && minor == 2) {
        if (version.serverR2) {
            product = "Windows Server 2003 R2, ";
        } else if (version.suiteMask & suiteStorageServer) {
            product = "Windows Storage Server 2003";
        } else if (version.suiteMask & suiteHomeServer) {
            product = "Windows Home Server";
        } else if (isWorkstation && version.processorArchitecture == architectureAmd64) {
            product = "Windows XP Professional x64 Edition";
        } else {
            product = "Windows Server 2003, ";
        }
        if (!isWorkstation) {
            edition = server2003Edition(version);
        }
    } else if (major == 5 && minor == 1) {
        product = "Windows XP";
        edition = (version.suiteMask & suitePersonal) ? "Home Edition" : "Professional";
    } else if (major == 5 && minor == 0) {
        product = "Windows 2000";
        if (isWorkstation) {
            edition = "Professional";
        } else if (version.suiteMask & suiteDatacenter) {
            edition = "Datacenter Server";
        } else {
            edition = (version.suiteMask & suiteEnterprise) ? "Advanced Server" : "Server";
        }
    } else {
        return std::nullopt;
    }

    std::string text = "Microsoft ";
    text += product;
    if (edition != nullptr) {
        // The 2003 server names carry their own ", " before the edition.
        if (text.back() != ' ') {
            text += ' ';
        }
        text += edition;
    } else if (text.size() >= 2 && text.compare(text.size() - 2, 2, ", ") == 0) {
        text.resize(text.size() - 2);
    }
    const bool is64Bit = version.processorArchitecture == architectureAmd64 ||
                         version.processorArchitecture == architectureIa64 ||
                         version.processorArchitecture == architectureArm64;
    char tail[64];
    std::snprintf(tail, sizeof(tail), " (build %u), %s", static_cast<unsigned>(version.buildNumber),
                  is64Bit ? "64-bit" : "32-bit");
    text += tail;
    return text;
}

std::string getOsNameAndVersion() {
    std::string text = "Logging OS Version: [OS Name]: ";
    text += Detail::osName;
    text += " [OS Version]: ";
    std::string display;
    if (Detail::osDisplayText(display)) {
        text += display;
    } else {
        text += "-";
    }
    return text;
}

void enableUnhandledExceptionLogging() {
    Detail::installCrashHandler();
}

void Detail::logCrashHeader() {
    crashLog.logFileLine(__FILE__, __LINE__, Category::Fatal, "Caught unhandled exception.");
}

void Detail::logCrashFrame(const void* address, const char* function, const char* file, int line) {
    if (function == nullptr || function[0] == '\0') {
        crashLog.log(Category::Fatal, "%p - (Unknown)", address);
    } else if (file != nullptr && file[0] != '\0') {
        crashLog.log(Category::Fatal, "%p - %s (%s:%d)", address, function, file, line);
    } else {
        crashLog.log(Category::Fatal, "%p - %s", address, function);
    }
}

} // namespace Tarn::Logging
