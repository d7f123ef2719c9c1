#!/bin/sh
# Asked by snakemake how a job is, by its number. A job that the accounting does not know yet counts as running.
case $(sacct --allocations --noheader --parsable2 --format=State --jobs="$1" | head -n 1) in
  COMPLETED) echo success ;;
  "" | PENDING | CONFIGURING | RUNNING | COMPLETING | SUSPENDED | REQUEUED | RESIZING) echo running ;;
  *) echo failed ;;
esac
