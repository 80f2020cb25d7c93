// tests/package/consumer.cpp: a host that sees nothing but the installed headers and library.
#include <cstdio>
#include <sharedlib/sharedlib.h>
#include <string>

namespace {

bool packedDataTravels() {
    CPackedData out;
    out.useMD5Checksum(true);
    out.PutInt32(7);
    out.PutString("arena");
    out.GenerateMD5Checksum();
    const CPackedData in(out.readData(), out.size());
    return in.GetInt32() == 7 && in.GetString() == "arena" && in.ValidateMD5Checksum();
}

bool connectionReportsItsError() {
    CConnection connection;
    connection.InitStream(std::string("no port"));
    return connection.GetState() == CConnection::InError && connection.GetError() == 10049;
}

} // namespace

int main() {
    Logger logger("Consumer", nullptr);
    logger.setLogLocationMask(0);
    theLogger = &logger;
    const bool good =
        packedDataTravels() && connectionReportsItsError() && Log_ValueToName(Log::Network) == std::string("Network");
    theLogger = nullptr;
    std::puts(good ? "consumer: OK" : "consumer: FAILED");
    return good ? 0 : 1;
}
