/* A program's arguments stay as they are: "map:*" is a name here, and no pattern of files for the C runtime. */
int _CRT_glob = 0;
