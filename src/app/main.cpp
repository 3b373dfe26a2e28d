#include "app/startup.h"

int main() {
    return runKestrel();
}
