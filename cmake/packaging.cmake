# Debian packages through CPack.
