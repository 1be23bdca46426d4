// Numbers of the message catalogue and of the dialog templates. Other parts
// of the program cite texts by these numbers.
#pragma once

#define IDS_PRODUCT_NAME 1
#define IDS_SETUP_CAPTION 2
#define IDS_PRODUCT_SHORT_NAME 3
#define IDS_INSTANCES_OPEN_MANY 4
#define IDS_BETA_EXPIRED 5
#define IDS_CONFIRM_UNINSTALL 6
#define IDS_ACCEPT_AGREEMENT 7
#define IDS_FINISH_BUTTON 8
#define IDS_INSTALLED_OK 9
#define IDS_PRESS_FINISH 10
#define IDS_CONFIRM_CANCEL 11
#define IDS_SELECT_FOLDER 12
#define IDS_INVALID_FOLDER 13
#define IDS_OLDER_VERSION_FOLDER 14
#define IDS_SETUP_ABORTED_INSTANCES 15
#define IDS_OLDER_PACKAGE 16
#define IDS_SAME_VERSION 17
#define IDS_DAMAGED_PACKAGE 18
#define IDS_PREVIOUS_COPY_IN_FOLDER 19
#define IDS_UNINSTALL_DONE 20
#define IDS_YES 21
#define IDS_NO 22
#define IDS_GROUP_TOO_SHORT 23
#define IDS_GROUP_UNUSABLE 24
#define IDS_PORTABLE_BROWSE_HINT 26
#define IDS_PORTABLE_BROWSE_FIRST 27
#define IDS_PORTABLE_HOW_TO_RUN 28
#define IDS_RESTART_NEEDED 30
#define IDS_RESTART_ON_FINISH 31
#define IDS_OFFER_ADDRESS 32
#define IDS_INSTANCE_OPEN_ONE 33
#define IDS_SHORTCUT_HELP 101
#define IDS_SHORTCUT_README 102
#define IDS_SHORTCUT_REGISTER 103
#define IDS_SHORTCUT_UNINSTALL 104
#define IDS_INSERT_CD 105
#define IDS_OFFER_RTF_OPEN 106
#define IDS_OFFER_RTF_HEADING 107
#define IDS_OFFER_RTF_BODY 108
#define IDS_OFFER_RTF_CLOSE 109
#define IDS_APP_TITLE 57344

// Dialog templates and the wizard's side picture.
#define IDB_SIDE_PICTURE 101
#define IDD_SETUP 103
#define IDD_AGREEMENT 104
#define IDD_INTRO 105
#define IDD_FOLDER 106
#define IDD_GROUP 107
#define IDD_START 108
#define IDD_UNINST_OFFER 110

// The wizard frame (Next and Cancel are IDOK and IDCANCEL).
#define IDC_BACK 3
#define IDC_SIDE_PICTURE 1002

// Welcome page.
#define IDC_INTRO_VERSION 1003

// Agreement and group pages.
#define IDC_AGREEMENT_TEXT 1000
#define IDC_GROUP_NAME 1000
#define IDC_GROUP_AUTOSTART 1008
#define IDC_GROUP_DESKTOP_ICON 1009

// Folder page: the three kinds in CurrentUser, AllUsers, Portable order.
#define IDC_KIND_CURRENT_USER 1001
#define IDC_KIND_ALL_USERS 1002
#define IDC_KIND_PORTABLE 1003
#define IDC_BROWSE 1005
#define IDC_FOLDER_HINT 1006
#define IDC_DESTINATION 1013

// Ready, installing and finished page.
#define IDC_START_INSTALLING 1009
#define IDC_START_HEADING 1010
#define IDC_START_DETAIL 1011
#define IDC_START_FINISH_CHECK 1012

// Uninstall offer.
#define IDC_OFFER_TEXT 27300
