// Logging readings from several threads: XML_Log may be called from any
// thread, and every stream receives each record whole.
#include "parallel_log.hpp"

#include <thread>

void Log_readings(const std::vector<Reading>& readings, unsigned threads) {
    std::vector<std::thread> loggers;
    for (unsigned t = 0; t < threads; ++t)
        loggers.emplace_back([&readings, t, threads] {
            for (size_t i = t; i < readings.size(); i += threads) {
                xmlNodePtr node = Tessel::XML_Write(readings[i]);
                Tessel::XML_Log(node, Category(readings[i]));  // frees the node
            }
        });
    for (std::thread& logger : loggers) logger.join();
}
