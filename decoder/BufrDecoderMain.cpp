// The decoder process of the data-ingest system: started by a data
// controller with the controller's target, the id it gave this child and
// the product name.
#include "BufrDriver.h"

int main(int argc, char** argv) { return runBufrDriver(argc, argv); }
