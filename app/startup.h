// Start-up of the program: the command line and the first conversation with the service.
#pragma once

int mp_main(int argc, char** argv);
