// The least that an application on the same framework can be: what start-up is measured against.
#include <Poco/Util/Application.h>

#include <iostream>

class Minimal : public Poco::Util::Application {
  protected:
    int main(const std::vector<std::string>& /*arguments*/) override {
        std::cout << "hello" << std::endl;
        return EXIT_OK;
    }
};

POCO_APP_MAIN(Minimal)
