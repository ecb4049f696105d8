#pragma once

#include <QCoreApplication>

#include <gtest/gtest.h>

#include <memory>

namespace Varnel::Testing {

// Gives the test program the event loop that the main context is: including this header is all it takes.
class EventLoopEnvironment final : public ::testing::Environment {
public:
    void SetUp() override {
        if (QCoreApplication::instance() == nullptr)
            application_ = std::make_unique<QCoreApplication>(count_, arguments_);
    }

    void TearDown() override { application_.reset(); }

private:
    char name_[8] = "varnel";
    char* arguments_[2] = {name_, nullptr};
    int count_ = 1;
    std::unique_ptr<QCoreApplication> application_;
};

inline ::testing::Environment* const eventLoopEnvironment =
    ::testing::AddGlobalTestEnvironment(new EventLoopEnvironment);

} // namespace Varnel::Testing
