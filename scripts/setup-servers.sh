#!/usr/bin/env bash
# Unpacks vsftpd and proftpd privately (they conflict with pure-ftpd as packages).
set -euo pipefail
echo "setup-servers: nothing yet"
