# As a system has it that is newer than Debian 12.
