// Reading a plant log document into Readings.
#ifndef TESSEL_DEMO_PLANT_READER_HPP
#define TESSEL_DEMO_PLANT_READER_HPP

#include "plant_log.hpp"

#include <string>
#include <vector>

struct Read_result {
    bool completed;                 // the parse went through the whole document
    size_t seen;                    // <reading> elements met
    std::vector<Reading> readings;  // those read without error, in document order
    size_t errors;                  // error records
    std::string first_error;        // the first error record, with its line
};

// Reads the plant log in path, reading on past errors. Each error record is
// printed on standard error and written to error_log as an <Error>.
Read_result Read_plant_log(const std::string& path, Tessel::Output_file& error_log);

#endif
