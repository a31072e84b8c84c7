OWNER symbols-team
